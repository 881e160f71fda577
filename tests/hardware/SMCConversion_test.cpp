#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "KelvoraCore/SMC.h"

#include "hardware/SMCTypes.h"

namespace kelvora::testing {
namespace {

SMCValueRecord valueOf(std::string_view type, std::initializer_list<int> bytes) {
  SMCValueRecord value;
  std::memcpy(value.dataType, type.data(), std::min<std::size_t>(type.size(), 5));
  for (const int byte : bytes) {
    value.bytes[value.dataSize++] = static_cast<std::uint8_t>(byte);
  }
  return value;
}

float number(std::string_view type, std::initializer_list<int> bytes) {
  return SMCConvertValueToNumber(valueOf(type, bytes));
}

// For every type of two bytes, the numbers of the words 0x0001, 0x8000 and 0xffff.
struct WordRow {
  const char* type;
  double one;
  double highBit;
  double allBits;
};

class SMCWordTypes : public ::testing::TestWithParam<WordRow> {};

TEST_P(SMCWordTypes, ConvertAsTheirNameSays) {
  const WordRow& row = GetParam();
  EXPECT_EQ(number(row.type, {0x00, 0x01}), static_cast<float>(row.one));
  EXPECT_EQ(number(row.type, {0x80, 0x00}), static_cast<float>(row.highBit));
  EXPECT_EQ(number(row.type, {0xff, 0xff}), static_cast<float>(row.allBits));
}

TEST_P(SMCWordTypes, AreKnownAtTwoBytesOnly) {
  EXPECT_EQ(number(GetParam().type, {1}), -1.0F);
  EXPECT_EQ(number(GetParam().type, {0, 0, 1}), -1.0F);
  EXPECT_EQ(number(GetParam().type, {0, 0, 0, 1}), -1.0F);
}

constexpr WordRow kRows[] = {
    {"fp1f", 1 / 32768.0, 1.0, 65535 / 32768.0},
    {"fp4c", 1 / 4096.0, 8.0, 65535 / 4096.0},
    {"fp5b", 1 / 2048.0, 16.0, 65535 / 2048.0},
    {"fp6a", 1 / 1024.0, 32.0, 65535 / 1024.0},
    {"fp79", 1 / 512.0, 64.0, 65535 / 512.0},
    {"fp88", 1 / 256.0, 128.0, 65535 / 256.0},
    {"fpa6", 1 / 64.0, 512.0, 65535 / 64.0},
    {"fpc4", 1 / 16.0, 2048.0, 65535 / 16.0},
    {"fpe2", 1 / 4.0, 8192.0, 65535 / 4.0},
    {"sp1e", 1 / 16384.0, -2.0, -1 / 16384.0},
    {"sp3c", 1 / 4096.0, -8.0, -1 / 4096.0},
    {"sp4b", 1 / 2048.0, -16.0, -1 / 2048.0},
    {"sp5a", 1 / 1024.0, -32.0, -1 / 1024.0},
    {"sp69", 1 / 512.0, -64.0, -1 / 512.0},
    {"sp78", 1 / 256.0, -128.0, -1 / 256.0},
    {"sp87", 1 / 128.0, -256.0, -1 / 128.0},
    {"sp96", 1 / 64.0, -512.0, -1 / 64.0},
    {"spb4", 1 / 16.0, -2048.0, -1 / 16.0},
    {"spf0", 1.0, 32768.0, 65535.0},
    {"si16", 1.0, 32768.0, 65535.0},
    {"{pwm", 100 / 65536.0, 50.0, 6553500 / 65536.0},
};

INSTANTIATE_TEST_SUITE_P(, SMCWordTypes, ::testing::ValuesIn(kRows), [](const auto& row) {
  const std::string type = row.param.type;
  return type == "{pwm" ? "pwm" : type;
});

TEST(SMCWordTypeTable, HasTheTypesOfThisTestOnceEach) {
  std::set<std::uint32_t> inTable;
  for (const SMCWordType& row : kSMCWordTypes) {
    inTable.insert(row.type);
  }
  std::set<std::uint32_t> inTest;
  for (const WordRow& row : kRows) {
    inTest.insert(SMCPackedKey(row.type));
  }
  EXPECT_EQ(kSMCWordTypes.size(), 21U);
  EXPECT_EQ(inTable.size(), 21U);
  EXPECT_EQ(inTable, inTest);
}

TEST(SMCConversion, OfKnownReadings) {
  EXPECT_EQ(number("ui16", {0x01, 0x2c}), 300.0F);
  EXPECT_EQ(number("fp88", {0x28, 0x80}), 40.5F);
  EXPECT_EQ(number("sp78", {0xff, 0x80}), -0.5F);
  EXPECT_EQ(number("si16", {0xff, 0xff}), 65535.0F);
  EXPECT_EQ(number("{pwm", {0x80, 0x00}), 50.0F);
  EXPECT_EQ(number("si8 ", {0xfe}), -2.0F);
}

TEST(SMCConversion, OfAnotherSizeThanTheTypesIsUnknown) {
  EXPECT_EQ(number("flt ", {0, 0}), -1.0F);
  EXPECT_EQ(number("flt ", {0, 0, 0, 0, 0, 0, 0, 0}), -1.0F);
  EXPECT_EQ(number("fp88", {0, 0, 0, 0}), -1.0F);
  EXPECT_EQ(number("si8 ", {0, 1}), -1.0F);
  EXPECT_EQ(number("si16", {1}), -1.0F);
}

TEST(SMCConversion, OfAnUnknownTypeIsExactlyMinusOne) {
  EXPECT_EQ(number("hex_", {1}), -1.0F);
  EXPECT_EQ(number("flag", {1}), -1.0F);
  EXPECT_EQ(number("fp2e", {1, 2}), -1.0F);
  EXPECT_EQ(number("spa5", {1, 2}), -1.0F);
  EXPECT_EQ(number("si32", {1, 2, 3, 4}), -1.0F);
  EXPECT_EQ(number("", {1, 2}), -1.0F);
}

TEST(SMCConversion, OfSizeZeroIsZeroWhateverTheType) {
  for (const char* type : {"ui8 ", "flt ", "sp78", "hex_", ""}) {
    EXPECT_EQ(number(type, {}), 0.0F);
  }
}

TEST(SMCConversion, ComparesTheWholeFiveBytesOfATypesText) {
  EXPECT_EQ(number({"ui8\0", 4}, {7}), -1.0F);
  EXPECT_EQ(number("ui8 x", {7}), -1.0F);
  EXPECT_EQ(number("sp78x", {1, 0}), -1.0F);
  EXPECT_EQ(number({"flt\0", 4}, {0, 0, 0, 0}), -1.0F);
  EXPECT_EQ(number("UI8 ", {7}), -1.0F);
  EXPECT_EQ(number("sp78x", {}), 0.0F) << "without bytes no type is compared";
}

TEST(SMCConversion, OfUnsignedTypesTakesWhateverSize) {
  for (const char* type : {"ui8 ", "ui16", "ui32"}) {
    EXPECT_EQ(number(type, {0xff}), 255.0F);
    EXPECT_EQ(number(type, {0xff, 0x01}), 65281.0F);
    EXPECT_EQ(number(type, {1, 2, 3}), 66051.0F);
    EXPECT_EQ(number(type, {0xff, 0xff, 0xff, 0xff}), 4294967296.0F);
    EXPECT_EQ(number(type, {9, 9, 0, 0, 0, 5}), 5.0F) << "modulo 2^32";
  }
}

TEST(SMCConversion, OfAFloatIsItsBytesInHostOrder) {
  for (const float expected :
       {1836.5F, -12.25F, 0.0F, std::numeric_limits<float>::infinity(), 1e-42F}) {
    SMCValueRecord value = valueOf("flt ", {0, 0, 0, 0});
    std::memcpy(value.bytes, &expected, sizeof expected);
    EXPECT_EQ(SMCConvertValueToNumber(value), expected);
  }
  SMCValueRecord value = valueOf("flt ", {0, 0, 0xc0, 0x7f});
  const std::uint32_t notANumber = 0x7fc00000;
  std::memcpy(value.bytes, &notANumber, sizeof notANumber);
  EXPECT_TRUE(std::isnan(SMCConvertValueToNumber(value)));
}

TEST(SMCConversion, OfEveryTypeAndSizeIsDefined) {
  std::set<std::string> types{"ui8 ", "ui16", "ui32", "si8 ", "flt ", "hex_"};
  for (const WordRow& row : kRows) {
    types.insert(row.type);
  }
  for (const std::string& type : types) {
    SMCValueRecord value = valueOf(type, {});
    std::memset(value.bytes, 0xff, sizeof value.bytes);
    const bool isUnsigned = type.starts_with("ui");
    for (std::uint32_t size = 3; size <= 40; ++size) {
      value.dataSize = size == 40 ? 0xffffffff : size;
      const float converted = SMCConvertValueToNumber(value);
      if (isUnsigned) {
        EXPECT_EQ(converted, size == 3 ? 16777215.0F : 4294967296.0F) << type << size;
      } else if (type == "flt " && size == 4) {
        EXPECT_TRUE(std::isnan(converted));
      } else {
        EXPECT_EQ(converted, -1.0F) << type << size;
      }
    }
  }
}

TEST(SMCConvertStringToNumber, ExtendsTheSignOfEachByteForBase16Only) {
  const std::uint8_t bytes[] = {0xff, 0x01};
  EXPECT_EQ(SMCConvertStringToNumber(bytes, 2, 10), 65281U);
  EXPECT_EQ(SMCConvertStringToNumber(bytes, 2, 16), 4294967041U);
  for (const int base : {-16, 0, 2, 15, 17, 32, 116}) {
    EXPECT_EQ(SMCConvertStringToNumber(bytes, 2, base), 65281U) << base;
  }
  const std::uint8_t last[] = {0x01, 0xff};
  EXPECT_EQ(SMCConvertStringToNumber(last, 2, 16), 255U) << "256 - 1";
}

TEST(SMCConvertStringToNumber, IsZeroForASizeBelowOneAndModulo32BitsForLongTexts) {
  const std::uint8_t bytes[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(SMCConvertStringToNumber(bytes, 0, 10), 0U);
  EXPECT_EQ(SMCConvertStringToNumber(bytes, -5, 16), 0U);
  EXPECT_EQ(SMCConvertStringToNumber(bytes, 6, 10), 0x03040506U);
}

TEST(SMCConvertNumberToString, WritesFourCharactersAndANUL) {
  char text[5] = {'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(SMCConvertNumberToString(text, 0x54433050), 4);
  EXPECT_STREQ(text, "TC0P");
  EXPECT_EQ(SMCConvertNumberToString(text, SMCPackedKey("ui8 ")), 4);
  EXPECT_STREQ(text, "ui8 ");
}

TEST(StrToF, IsExactForTwoFractionBits) {
  const std::uint8_t bytes[] = {0x0f, 0xa2};
  EXPECT_EQ(_strtof(bytes, 2, 2), 1000.5F);
  const std::uint8_t highest[] = {0xff, 0xff};
  EXPECT_EQ(_strtof(highest, 2, 2), 16383.75F);
  EXPECT_EQ(_strtof(highest, 1, 2), 63.75F);
}

TEST(StrToF, CountsTheLastTwoBitsInQuartersForOtherFractionBitsToo) {
  const std::uint8_t bytes[] = {0x01, 0x83};
  EXPECT_EQ(_strtof(bytes, 2, 8), 1.75F) << "1 + 0 + 3 quarters";
  EXPECT_EQ(_strtof(bytes, 2, 4), 24.75F) << "16 + 8 + 3 quarters";
  const std::uint8_t three[] = {1, 1, 1};
  EXPECT_EQ(_strtof(three, 3, 2), 4160.25F) << "4096 + 64 + 0 + 1 quarter";
}

TEST(StrToF, IsZeroOutsideItsRanges) {
  const std::uint8_t bytes[] = {0x0f, 0xa2};
  EXPECT_EQ(_strtof(bytes, 0, 2), 0.0F);
  EXPECT_EQ(_strtof(bytes, 2, -1), 0.0F);
  EXPECT_EQ(_strtof(bytes, 2, 9), 0.0F);
}

}  // namespace
}  // namespace kelvora::testing
