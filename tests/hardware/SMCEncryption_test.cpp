#include "KelvoraCore/SMCEncryption.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "base/HexadecimalText.h"
#include "tests/support/Hexadecimal.h"

namespace kelvora::testing {
namespace {

using SMCEncryption::Data;
using SMCEncryption::decryptedDataUsingAlgorithm;
using SMCEncryption::decryptedDataWithKey;
using SMCEncryption::encryptedDataUsingAlgorithm;
using SMCEncryption::encryptedDataWithKey;

constexpr std::int32_t kUntouched = 7;

Data dataOf(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

struct Row {
  std::uint32_t algorithm;
  std::size_t block;
  std::vector<std::size_t> keys;     // lengths that are taken
  std::vector<std::size_t> refused;  // and lengths beside them
};

const std::vector<Row>& rows() {
  static const std::vector<Row> all = {
      {kSMCCipherAES, 16, {16, 24, 32}, {0, 15, 17, 23, 25, 31, 33}},
      {kSMCCipherDES, 8, {8}, {0, 7, 9}},
      {kSMCCipher3DES, 8, {24}, {0, 8, 16, 23, 25}},
      {kSMCCipherCAST, 8, {5, 6, 10, 11, 16}, {0, 4, 17}},
      {kSMCCipherRC4, 1, {1, 5, 16, 256, 512}, {0, 513}},
      {kSMCCipherRC2, 8, {1, 5, 16, 128}, {0, 129}},
      {kSMCCipherBlowfish, 8, {8, 9, 16, 56}, {0, 7, 57}},
  };
  return all;
}

Data keyOf(std::size_t length) {
  Data key;
  for (std::size_t index = 0; index < length; ++index) {
    key.push_back(static_cast<std::byte>(index * 7 + 1));
  }
  return key;
}

std::int32_t statusOfEncrypting(const Data& plain, std::uint32_t algorithm, const Data& key,
                                std::uint32_t options = 0) {
  std::int32_t status = kUntouched;
  const auto result =
      encryptedDataUsingAlgorithm(plain, algorithm, key, std::nullopt, options, &status);
  EXPECT_EQ(result.has_value(), status == kUntouched);
  return status;
}

std::int32_t statusOfDecrypting(const Data& enciphered, std::uint32_t algorithm, const Data& key,
                                std::uint32_t options = 0) {
  std::int32_t status = kUntouched;
  const auto result =
      decryptedDataUsingAlgorithm(enciphered, algorithm, key, std::nullopt, options, &status);
  EXPECT_EQ(result.has_value(), status == kUntouched);
  return status;
}

TEST(SMCEncryption, AKeyOfEightCharactersGivesBackWhatWasEnciphered) {
  for (const std::string& plain :
       {std::string(), std::string("a"), std::string("1234567"), std::string("12345678"),
        std::string("123456789"), std::string(100'000, 'x')}) {
    const auto enciphered = encryptedDataWithKey(dataOf(plain), "s3cr3t!!");
    ASSERT_TRUE(enciphered);
    EXPECT_EQ(enciphered->size(), plain.size() / 8 * 8 + 8);
    EXPECT_EQ(decryptedDataWithKey(*enciphered, "s3cr3t!!"), dataOf(plain));
  }
}

TEST(SMCEncryption, TheShortFormIsDESWithPaddingAndAVectorOfZeros) {
  const auto enciphered = encryptedDataWithKey(dataOf("Now is the time "), "s3cr3t!!");
  EXPECT_EQ(enciphered, encryptedDataUsingAlgorithm(dataOf("Now is the time "), 1, "s3cr3t!!",
                                                    Data(8), kSMCCipherPKCS7Padding));
  EXPECT_EQ(decryptedDataUsingAlgorithm(*enciphered, 1, dataOf("s3cr3t!!"), std::nullopt, 1),
            dataOf("Now is the time "));
  // What the openssl command gives: enc -des-cbc -K 7333637233742121 -iv 0
  EXPECT_EQ(hexadecimalText(*enciphered), "62fb30e40106c285623d7947419924a11a19d602b63335af");
}

TEST(SMCEncryption, NothingIsEncipheredToOneBlockOfPaddingAndBack) {
  for (const Row& row : rows()) {
    const Data key = keyOf(row.keys[0]);
    const auto enciphered =
        encryptedDataUsingAlgorithm({}, row.algorithm, key, std::nullopt, kSMCCipherPKCS7Padding);
    ASSERT_TRUE(enciphered);
    EXPECT_EQ(enciphered->size(), row.block == 1 ? 0 : row.block);
    EXPECT_EQ(decryptedDataUsingAlgorithm(*enciphered, row.algorithm, key, std::nullopt,
                                          kSMCCipherPKCS7Padding),
              Data());
  }
}

TEST(SMCEncryption, EveryAlgorithmKeyLengthAndModeGivesBackWhatWasEnciphered) {
  for (const Row& row : rows()) {
    for (const std::size_t length : row.keys) {
      for (const std::uint32_t options : {0U, 1U, 2U, 3U}) {
        const Data key = keyOf(length);
        const Data plain((options & 1U) != 0 ? 53 : 64, std::byte{0x41});
        const auto enciphered =
            encryptedDataUsingAlgorithm(plain, row.algorithm, key, std::nullopt, options);
        ASSERT_TRUE(enciphered) << row.algorithm << " " << length << " " << options;
        EXPECT_NE(enciphered, plain);
        EXPECT_EQ(
            decryptedDataUsingAlgorithm(*enciphered, row.algorithm, key, std::nullopt, options),
            plain)
            << row.algorithm << " " << length << " " << options;
      }
    }
  }
}

TEST(SMCEncryption, EveryByteOfAKeyCounts) {
  for (const Row& row : rows()) {
    // DES leaves out the last bit of each byte; RC4 reads 256 bytes.
    const std::size_t length = row.algorithm == kSMCCipherRC4 ? 256 : row.keys.back();
    const Data key = keyOf(length);
    const Data plain(16);
    const auto enciphered = encryptedDataUsingAlgorithm(plain, row.algorithm, key, std::nullopt, 0);
    for (std::size_t index = 0; index < length; ++index) {
      Data other = key;
      other[index] ^= std::byte{0x80};
      EXPECT_NE(encryptedDataUsingAlgorithm(plain, row.algorithm, other, std::nullopt, 0),
                enciphered)
          << row.algorithm << " " << index;
    }
  }
}

TEST(SMCEncryption, EqualBlocksAreEqualOnlyInECBMode) {
  const Data plain(16);
  const auto ecb = encryptedDataUsingAlgorithm(plain, 1, "s3cr3t!!", std::nullopt, 2);
  const auto cbc = encryptedDataUsingAlgorithm(plain, 1, "s3cr3t!!", std::nullopt, 0);
  EXPECT_EQ(hexadecimalText(*ecb).substr(0, 16), hexadecimalText(*ecb).substr(16));
  EXPECT_NE(hexadecimalText(*cbc).substr(0, 16), hexadecimalText(*cbc).substr(16));
}

TEST(SMCEncryption, PaddingIsAddedWhereTheDataFillsItsBlocks) {
  const auto padded = encryptedDataUsingAlgorithm(Data(32), 0, keyOf(16), std::nullopt, 1);
  const auto plain = encryptedDataUsingAlgorithm(Data(32), 0, keyOf(16), std::nullopt, 0);
  EXPECT_EQ(padded->size(), 48U);
  EXPECT_EQ(plain->size(), 32U);
  EXPECT_EQ(hexadecimalText(*padded).substr(0, 64), hexadecimalText(*plain));
}

TEST(SMCEncryption, KeyAndVectorMayBeTextsOrBytes) {
  const Data plain = dataOf("some text");
  const std::string key = "schl\u00fcss";  // 8 bytes
  const std::string vector = "vector\u00e9";
  ASSERT_EQ(key.size(), 8U);
  const auto byTexts = encryptedDataUsingAlgorithm(plain, 1, key, vector, 1);
  ASSERT_TRUE(byTexts);
  EXPECT_EQ(encryptedDataUsingAlgorithm(plain, 1, dataOf(key), dataOf(vector), 1), byTexts);
  EXPECT_EQ(encryptedDataUsingAlgorithm(plain, 1, dataOf(key), vector, 1), byTexts);
  EXPECT_NE(encryptedDataUsingAlgorithm(plain, 1, key, std::nullopt, 1), byTexts);
}

TEST(SMCEncryption, OfALongerVectorTheFirstBytesCount) {
  const Data plain(32);
  EXPECT_EQ(encryptedDataUsingAlgorithm(plain, 1, "s3cr3t!!", "12345678 and more", 0),
            encryptedDataUsingAlgorithm(plain, 1, "s3cr3t!!", "12345678", 0));
  EXPECT_EQ(encryptedDataUsingAlgorithm(plain, 0, keyOf(32), "1234567890123456 and more", 0),
            encryptedDataUsingAlgorithm(plain, 0, keyOf(32), "1234567890123456", 0));
}

TEST(SMCEncryption, AVectorShorterThanABlockIsRefused) {
  for (const Row& row : rows()) {
    for (const std::size_t missing : {std::size_t{1}, row.block}) {
      std::int32_t status = kUntouched;
      const auto result = encryptedDataUsingAlgorithm(Data(32), row.algorithm, keyOf(row.keys[0]),
                                                      Data(row.block - missing), 0, &status);
      const bool isRead = row.algorithm != kSMCCipherRC4;
      EXPECT_EQ(result.has_value(), !isRead) << row.algorithm;
      EXPECT_EQ(status, isRead ? kSMCCipherParamError : kUntouched) << row.algorithm;
    }
    std::int32_t status = kUntouched;
    EXPECT_FALSE(row.block > 1 && decryptedDataUsingAlgorithm(Data(32), row.algorithm,
                                                              keyOf(row.keys[0]), "", 0, &status));
    EXPECT_EQ(status, row.block > 1 ? kSMCCipherParamError : kUntouched);
  }
}

TEST(SMCEncryption, AVectorOfOneBlockIsTaken) {
  for (const Row& row : rows()) {
    EXPECT_TRUE(encryptedDataUsingAlgorithm(Data(32), row.algorithm, keyOf(row.keys[0]),
                                            Data(row.block), 0));
  }
}

TEST(SMCEncryption, ECBModeReadsNoVector) {
  for (const Row& row : rows()) {
    const Data key = keyOf(row.keys[0]);
    const auto without = encryptedDataUsingAlgorithm(Data(32), row.algorithm, key, std::nullopt, 2);
    EXPECT_EQ(encryptedDataUsingAlgorithm(Data(32), row.algorithm, key, "", 2), without);
    EXPECT_EQ(encryptedDataUsingAlgorithm(Data(32), row.algorithm, key, "0123456789abcdef", 2),
              without);
  }
}

TEST(SMCEncryption, AKeyOfAnotherLengthIsRefused) {
  for (const Row& row : rows()) {
    for (const std::size_t length : row.refused) {
      EXPECT_EQ(statusOfEncrypting(Data(32), row.algorithm, keyOf(length)), kSMCCipherKeySizeError)
          << row.algorithm << " " << length;
      EXPECT_EQ(statusOfDecrypting(Data(32), row.algorithm, keyOf(length)), kSMCCipherKeySizeError)
          << row.algorithm << " " << length;
    }
  }
  EXPECT_EQ(encryptedDataWithKey(dataOf("x"), "1234567"), std::nullopt);
  EXPECT_EQ(encryptedDataWithKey(dataOf("x"), "123456789"), std::nullopt);
  EXPECT_EQ(decryptedDataWithKey(Data(8), ""), std::nullopt);
}

TEST(SMCEncryption, AnUnknownAlgorithmIsRefused) {
  for (const std::uint32_t algorithm : {7U, 100U, std::numeric_limits<std::uint32_t>::max()}) {
    EXPECT_EQ(statusOfEncrypting(Data(32), algorithm, keyOf(16)), kSMCCipherParamError);
    EXPECT_EQ(statusOfDecrypting(Data(32), algorithm, keyOf(16)), kSMCCipherParamError);
  }
}

TEST(SMCEncryption, OtherBitsOfTheOptionsAreIgnored) {
  for (const std::uint32_t options : {0U, 1U, 2U, 3U}) {
    EXPECT_EQ(encryptedDataUsingAlgorithm(Data(16), 1, "s3cr3t!!", std::nullopt, options | ~3U),
              encryptedDataUsingAlgorithm(Data(16), 1, "s3cr3t!!", std::nullopt, options));
  }
}

TEST(SMCEncryption, WithoutPaddingTheDataMustFillItsBlocks) {
  for (const Row& row : rows()) {
    const Data key = keyOf(row.keys[0]);
    for (const std::size_t length : {std::size_t{1}, row.block - 1, row.block + 1, 3 * row.block}) {
      const bool fills = length % row.block == 0;
      const std::int32_t expected = fills ? kUntouched : kSMCCipherAlignmentError;
      EXPECT_EQ(statusOfEncrypting(Data(length), row.algorithm, key), expected);
      EXPECT_EQ(statusOfDecrypting(Data(length), row.algorithm, key), expected);
    }
    EXPECT_EQ(encryptedDataUsingAlgorithm({}, row.algorithm, key, std::nullopt, 0), Data());
    EXPECT_EQ(decryptedDataUsingAlgorithm({}, row.algorithm, key, std::nullopt, 0), Data());
  }
}

TEST(SMCEncryption, EncipheredDataThatDoesNotFillItsBlocksIsUnaligned) {
  auto enciphered = *encryptedDataWithKey(dataOf("some text"), "s3cr3t!!");
  enciphered.pop_back();
  EXPECT_EQ(statusOfDecrypting(enciphered, 1, dataOf("s3cr3t!!"), 1), kSMCCipherAlignmentError);
  EXPECT_EQ(decryptedDataWithKey(enciphered, "s3cr3t!!"), std::nullopt);
}

TEST(SMCEncryption, WrongPaddingIsADecodingError) {
  // The last byte of what is deciphered is the length of the padding, 1 to a block's, and all of
  // the padding has it.
  for (const char* last : {"00", "09", "02", "ff"}) {
    const auto enciphered = encryptedDataUsingAlgorithm(
        bytesOfHex(std::string("41414141414141") + last), 1, "s3cr3t!!", std::nullopt, 0);
    EXPECT_EQ(statusOfDecrypting(*enciphered, 1, dataOf("s3cr3t!!"), 1), kSMCCipherDecodeError)
        << last;
  }
}

TEST(SMCEncryption, PaddingOfEveryLengthIsRemoved) {
  for (int length = 1; length <= 8; ++length) {
    Data block(8, static_cast<std::byte>(length));
    const auto enciphered = encryptedDataUsingAlgorithm(block, 1, "s3cr3t!!", std::nullopt, 0);
    EXPECT_EQ(decryptedDataWithKey(*enciphered, "s3cr3t!!")->size(),
              static_cast<std::size_t>(8 - length));
  }
}

TEST(SMCEncryption, AnotherKeyIsNoticedByThePadding) {
  const auto enciphered = *encryptedDataWithKey(dataOf("some text"), "s3cr3t!!");
  EXPECT_EQ(statusOfDecrypting(enciphered, 1, dataOf("another!"), 1), kSMCCipherDecodeError);
}

TEST(SMCEncryption, NothingHasNoPaddingToDecipher) {
  EXPECT_EQ(statusOfDecrypting({}, 1, dataOf("s3cr3t!!"), 1), kSMCCipherDecodeError);
  EXPECT_EQ(decryptedDataWithKey({}, "s3cr3t!!"), std::nullopt);
}

TEST(SMCEncryption, RC4NeitherPadsNorReadsAMode) {
  const Data plain = dataOf("13 characters");
  const auto enciphered = encryptedDataUsingAlgorithm(plain, kSMCCipherRC4, "key", std::nullopt, 0);
  EXPECT_EQ(enciphered->size(), plain.size());
  for (const std::uint32_t options : {1U, 2U, 3U}) {
    EXPECT_EQ(encryptedDataUsingAlgorithm(plain, kSMCCipherRC4, "key", "vector", options),
              enciphered);
  }
}

TEST(SMCEncryption, WorksWithoutAPlaceForTheStatus) {
  EXPECT_FALSE(encryptedDataUsingAlgorithm(Data(8), 1, "short", std::nullopt, 0));
  EXPECT_FALSE(encryptedDataUsingAlgorithm(Data(7), 1, "s3cr3t!!", std::nullopt, 0, nullptr));
}

TEST(SMCEncryption, LargeDataIsProcessedInPartsAndGivesTheSame) {
  // More than the cipher's library is given at a time, and no multiple of it.
  Data plain((3 << 20) + 5);
  for (std::size_t index = 0; index < plain.size(); ++index) {
    plain[index] = static_cast<std::byte>(index * 31 >> 3);
  }
  const auto enciphered = encryptedDataUsingAlgorithm(plain, 0, keyOf(32), "0123456789abcdef", 1);
  ASSERT_TRUE(enciphered);
  EXPECT_EQ(decryptedDataUsingAlgorithm(*enciphered, 0, keyOf(32), "0123456789abcdef", 1), plain);
  // The vector of the second half is the last block of the first.
  const std::size_t half = 2 << 20;
  const auto bytes = std::span<const std::byte>(*enciphered);
  EXPECT_EQ(decryptedDataUsingAlgorithm(bytes.subspan(half), 0, keyOf(32),
                                        bytes.subspan(half - 16, 16), 1),
            Data(plain.begin() + static_cast<std::ptrdiff_t>(half), plain.end()));
}

}  // namespace
}  // namespace kelvora::testing
