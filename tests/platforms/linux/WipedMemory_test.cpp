// What is secret is in no memory that is released.
#include <string>

#include <gtest/gtest.h>
#include <openssl/crypto.h>

#include "KelvoraCore/SMCEncryption.h"

#include "hardware/CryptorRun.h"
#include "ports/Cryptor.h"
#include "tests/support/ReleasedMemory.h"
#include "tests/support/TextBytes.h"

namespace kelvora::testing {
namespace {

constexpr std::string_view kSecret = "of 16 characters";

TEST(WipedMemory, TheWatchSeesWhatIsNotWiped) {
  ASSERT_TRUE(watchReleasedMemory(kSecret));
  delete new std::string("a text of 16 characters and more");
  EXPECT_EQ(releasedSecrets(), 1);
  OPENSSL_free(OPENSSL_memdup(kSecret.data(), kSecret.size()));
  EXPECT_EQ(releasedSecrets(), 2);
  delete new std::string("a text of another kind, and long");
  EXPECT_EQ(releasedSecrets(), 2);
}

TEST(WipedMemory, TheKeyIsInNoReleasedMemory) {
  ASSERT_TRUE(watchReleasedMemory(kSecret));
  for (std::uint32_t algorithm = 0; algorithm < 7; ++algorithm) {
    SMCEncryption::encryptedDataUsingAlgorithm(textBytes("text"), algorithm, kSecret, std::nullopt,
                                               1);
    SMCEncryption::encryptedDataUsingAlgorithm(textBytes("text"), algorithm, kSecret, std::nullopt,
                                               0);
  }
  EXPECT_EQ(releasedSecrets(), 0);
}

TEST(WipedMemory, WhatWasDecipheredBeforeAFailureIsInNoReleasedMemory) {
  ASSERT_TRUE(watchReleasedMemory(kSecret));
  const std::string key(16, 'k');
  const auto withoutPadding =
      SMCEncryption::encryptedDataUsingAlgorithm(textBytes(kSecret), 0, key, std::nullopt, 0);
  // Two blocks, so that the first is written before the last is found wrong.
  SMCEncryption::Data twice = *withoutPadding;
  twice.insert(twice.end(), withoutPadding->begin(), withoutPadding->end());
  std::int32_t status = 0;
  EXPECT_FALSE(SMCEncryption::decryptedDataUsingAlgorithm(twice, 0, key, std::nullopt, 1, &status));
  EXPECT_EQ(status, kSMCCipherDecodeError);
  EXPECT_EQ(releasedSecrets(), 0);
}

// Writes the secret everywhere, and reports a part of it.
struct WritingCryptor : platform::Cryptor {
  std::size_t outputLength(std::size_t) const override { return 3 * kSecret.size(); }
  std::int32_t update(std::span<const std::byte>, std::span<std::byte> output,
                      std::size_t& written) override {
    for (std::size_t index = 0; index < output.size(); ++index) {
      output[index] = textBytes(kSecret)[index % kSecret.size()];
    }
    written = 1;
    return updateStatus;
  }
  std::int32_t finish(std::span<std::byte>, std::size_t& written) override {
    written = 1;
    return finishStatus;
  }
  std::int32_t updateStatus = 0;
  std::int32_t finishStatus = 0;
};

TEST(WipedMemory, WhatIsBehindTheResultIsWiped) {
  ASSERT_TRUE(watchReleasedMemory(kSecret));
  WritingCryptor cryptor;
  std::int32_t status = -1;
  EXPECT_EQ(runCryptor(cryptor, {}, status)->size(), 2U);
  EXPECT_EQ(releasedSecrets(), 0);
}

TEST(WipedMemory, TheBufferOfAFailedStepIsWiped) {
  ASSERT_TRUE(watchReleasedMemory(kSecret));
  std::int32_t status = 0;
  WritingCryptor first;
  first.updateStatus = -1;
  EXPECT_FALSE(runCryptor(first, {}, status));
  WritingCryptor second;
  second.finishStatus = -1;
  EXPECT_FALSE(runCryptor(second, {}, status));
  EXPECT_EQ(releasedSecrets(), 0);
}

}  // namespace
}  // namespace kelvora::testing
