#include "KelvoraCore/PropertyListValue.h"

#include <cmath>
#include <limits>
#include <locale>
#include <string>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();

TEST(PropertyListValue, IntegerOfNumbersIsCutTowardZeroAndSaturates) {
  EXPECT_EQ(PropertyListValue(true).integerValue(), 1);
  EXPECT_EQ(PropertyListValue(false).integerValue(), 0);
  EXPECT_EQ(PropertyListValue(kLeast).integerValue(), kLeast);
  EXPECT_EQ(PropertyListValue(2.9).integerValue(), 2);
  EXPECT_EQ(PropertyListValue(-2.9).integerValue(), -2);
  EXPECT_EQ(PropertyListValue(1e300).integerValue(), kMost);
  EXPECT_EQ(PropertyListValue(9223372036854775808.0).integerValue(), kMost);
  EXPECT_EQ(PropertyListValue(-9223372036854775808.0).integerValue(), kLeast);
  EXPECT_EQ(PropertyListValue(-1e300).integerValue(), kLeast);
  EXPECT_EQ(PropertyListValue(std::nan("")).integerValue(), 0);
}

TEST(PropertyListValue, IntegerOfATextIsItsLeadingDecimalNumber) {
  EXPECT_EQ(PropertyListValue("412 cycles").integerValue(), 412);
  EXPECT_EQ(PropertyListValue(" \t-17.9").integerValue(), -17);
  EXPECT_EQ(PropertyListValue("+5").integerValue(), 5);
  EXPECT_EQ(PropertyListValue("\r\n\v\f6").integerValue(), 6);
  EXPECT_EQ(PropertyListValue("0x10").integerValue(), 0);
  EXPECT_EQ(PropertyListValue("cycles 412").integerValue(), 0);
  EXPECT_EQ(PropertyListValue("").integerValue(), 0);
  EXPECT_EQ(PropertyListValue("9223372036854775807").integerValue(), kMost);
  EXPECT_EQ(PropertyListValue("9223372036854775808").integerValue(), kMost);
  EXPECT_EQ(PropertyListValue("9223372036854775809").integerValue(), kMost);
  EXPECT_EQ(PropertyListValue("-9223372036854775807").integerValue(), kLeast + 1);
  EXPECT_EQ(PropertyListValue("-9223372036854775808").integerValue(), kLeast);
  EXPECT_EQ(PropertyListValue("-9223372036854775809").integerValue(), kLeast);
  EXPECT_EQ(PropertyListValue("-99999999999999999999").integerValue(), kLeast);
}

TEST(PropertyListValue, DoubleOfATextIsItsLeadingDecimalNumber) {
  EXPECT_EQ(PropertyListValue("12.5").doubleValue(), 12.5);
  EXPECT_EQ(PropertyListValue(" -.5e1x").doubleValue(), -5);
  EXPECT_EQ(PropertyListValue("5E-1").doubleValue(), 0.5);
  EXPECT_EQ(PropertyListValue("3.e").doubleValue(), 3);
  EXPECT_EQ(PropertyListValue("7e+").doubleValue(), 7);
  EXPECT_EQ(PropertyListValue("0x1F").doubleValue(), 0);
  EXPECT_EQ(PropertyListValue("inf").doubleValue(), 0);
  EXPECT_EQ(PropertyListValue("nan").doubleValue(), 0);
  EXPECT_EQ(PropertyListValue(".").doubleValue(), 0);
  EXPECT_EQ(PropertyListValue("1e999").doubleValue(), HUGE_VAL);
  EXPECT_EQ(PropertyListValue("1e-999").doubleValue(), 0);
}

TEST(PropertyListValue, DoubleOfATextIsTheNearestNumber) {
  EXPECT_EQ(PropertyListValue("0.1").doubleValue(), 0.1);
  EXPECT_EQ(PropertyListValue("2.2250738585072011e-308").doubleValue(), 2.2250738585072011e-308);
  EXPECT_EQ(PropertyListValue("5e-324").doubleValue(), 5e-324);
  EXPECT_EQ(PropertyListValue("1.7976931348623157e308").doubleValue(), 1.7976931348623157e308);
  EXPECT_EQ(PropertyListValue("-1e309").doubleValue(), -HUGE_VAL);
  EXPECT_EQ(PropertyListValue(std::string(400, '9')).doubleValue(), HUGE_VAL);
  EXPECT_EQ(PropertyListValue("9007199254740993").doubleValue(), 9007199254740992);
  EXPECT_TRUE(std::signbit(PropertyListValue("-0").doubleValue()));
}

TEST(PropertyListValue, DoubleOfATextIsTheSameInALocaleWithADecimalComma) {
  struct DecimalComma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
  const double value = PropertyListValue("1234.5").doubleValue();
  std::locale::global(before);
  EXPECT_EQ(value, 1234.5);
}

TEST(PropertyListValue, DoubleOfNumbers) {
  EXPECT_EQ(PropertyListValue(true).doubleValue(), 1);
  EXPECT_EQ(PropertyListValue(-3).doubleValue(), -3);
  EXPECT_EQ(PropertyListValue(0.25).doubleValue(), 0.25);
}

TEST(PropertyListValue, TruthOfATextIsItsFirstMeaningfulCharacter) {
  for (const char* text : {"YES", "yes", "True", "true", "1", " -1", "+007", "0009", "0Y"}) {
    EXPECT_TRUE(PropertyListValue(text).boolValue()) << text;
  }
  for (const char* text : {"NO", "false", "0", "000", "", "  ", "-0", "on", "--1"}) {
    EXPECT_FALSE(PropertyListValue(text).boolValue()) << text;
  }
}

TEST(PropertyListValue, TruthOfNumbers) {
  EXPECT_TRUE(PropertyListValue(true).boolValue());
  EXPECT_TRUE(PropertyListValue(-1).boolValue());
  EXPECT_TRUE(PropertyListValue(0.1).boolValue());
  EXPECT_FALSE(PropertyListValue(0).boolValue());
  EXPECT_FALSE(PropertyListValue(0.0).boolValue());
}

TEST(PropertyListValue, OtherKindsAreZeroAndFalse) {
  const PropertyListValue others[] = {PropertyListValue::Data{std::byte{1}},
                                      PropertyListValue::Date{}, PropertyListValue::Array{1},
                                      PropertyListValue::Dictionary{{"a", 1}}};
  for (const PropertyListValue& value : others) {
    EXPECT_EQ(value.integerValue(), 0);
    EXPECT_EQ(value.doubleValue(), 0);
    EXPECT_FALSE(value.boolValue());
  }
}

}  // namespace
}  // namespace kelvora
