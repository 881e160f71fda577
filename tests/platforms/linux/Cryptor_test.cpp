#include "ports/Cryptor.h"

#include <array>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include "KelvoraCore/SMCEncryption.h"

#include "tests/support/TextBytes.h"

namespace kelvora::testing {
namespace {

using platform::createCryptor;
using platform::CryptorRequest;

std::int32_t statusOf(std::uint32_t algorithm, std::string_view key) {
  return createCryptor({true, algorithm, 1, textBytes(key)}).status;
}

const std::string kAESKey(16, 'k');

TEST(Cryptor, WithoutTheModuleOfOldCiphersTheyAreUnimplementedAndTheOthersWork) {
  setenv("OPENSSL_MODULES", "/nonexistent", 1);
  EXPECT_EQ(statusOf(kSMCCipherDES, "12345678"), kSMCCipherUnimplemented);
  EXPECT_EQ(statusOf(kSMCCipherCAST, "12345678"), kSMCCipherUnimplemented);
  EXPECT_EQ(statusOf(kSMCCipherRC4, "12345678"), kSMCCipherUnimplemented);
  EXPECT_EQ(statusOf(kSMCCipherRC2, "12345678"), kSMCCipherUnimplemented);
  EXPECT_EQ(statusOf(kSMCCipherBlowfish, "12345678"), kSMCCipherUnimplemented);
  EXPECT_EQ(statusOf(kSMCCipherAES, kAESKey), kSMCCipherSuccess);
  EXPECT_EQ(statusOf(kSMCCipher3DES, "123456781234567812345678"), kSMCCipherSuccess);
  EXPECT_EQ(SMCEncryption::encryptedDataWithKey(textBytes("x"), "12345678"), std::nullopt);
}

TEST(Cryptor, AModuleThatCouldNotBeLoadedIsLoadedOnceItCan) {
  setenv("OPENSSL_MODULES", "/nonexistent", 1);
  EXPECT_EQ(statusOf(kSMCCipherDES, "12345678"), kSMCCipherUnimplemented);
  unsetenv("OPENSSL_MODULES");
  EXPECT_EQ(statusOf(kSMCCipherDES, "12345678"), kSMCCipherSuccess);
}

TEST(Cryptor, TheHostsOwnOpenSSLStaysAsItIs) {
  ASSERT_TRUE(SMCEncryption::encryptedDataWithKey(textBytes("x"), "12345678"));
  EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0);
  EXPECT_EQ(EVP_CIPHER_fetch(nullptr, "DES-CBC", nullptr), nullptr);
  EVP_CIPHER* aes = EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr);
  EXPECT_NE(aes, nullptr);
  EVP_CIPHER_free(aes);
}

TEST(Cryptor, TheHostsErrorsStayAsTheyAre) {
  ERR_raise(ERR_LIB_USER, 5);
  setenv("OPENSSL_MODULES", "/nonexistent", 1);
  EXPECT_EQ(statusOf(kSMCCipherDES, "12345678"), kSMCCipherUnimplemented);
  unsetenv("OPENSSL_MODULES");
  EXPECT_FALSE(SMCEncryption::decryptedDataWithKey(textBytes("of 16 characters"), "12345678"));
  EXPECT_FALSE(SMCEncryption::decryptedDataWithKey(textBytes("not aligned"), "12345678"));
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 5);
  EXPECT_EQ(ERR_get_error(), 0U);
}

TEST(Cryptor, ABufferThatIsTooSmallIsRefusedAndNothingIsWritten) {
  const auto creation = createCryptor({true, kSMCCipherAES, 1, textBytes(kAESKey)});
  std::array<std::byte, 48> output{};
  std::size_t written = 99;
  const std::size_t needed = creation.cryptor->outputLength(20);
  EXPECT_EQ(needed, 32U);
  const auto input = std::span<const std::byte>(output).first(20);
  EXPECT_EQ(creation.cryptor->update(input, std::span(output).first(needed - 1), written),
            kSMCCipherBufferTooSmall);
  EXPECT_EQ(written, 0U);
  EXPECT_EQ(creation.cryptor->update(input, std::span(output).first(needed), written), 0);
  EXPECT_EQ(written, 16U);
  written = 99;
  EXPECT_EQ(creation.cryptor->finish(std::span(output).first(15), written),
            kSMCCipherBufferTooSmall);
  EXPECT_EQ(written, 0U);
  EXPECT_EQ(creation.cryptor->finish(std::span(output).first(16), written), 0);
  EXPECT_EQ(written, 16U);
}

TEST(Cryptor, ManyUpdatesAreOneMessage) {
  const std::string text = "a text of some length, in pieces";
  const auto whole = SMCEncryption::encryptedDataUsingAlgorithm(textBytes(text), kSMCCipherAES,
                                                                kAESKey, std::nullopt, 1);
  const auto creation = createCryptor({true, kSMCCipherAES, 1, textBytes(kAESKey)});
  SMCEncryption::Data pieces;
  std::array<std::byte, 32> output{};
  std::size_t written = 0;
  for (std::size_t index = 0; index < text.size(); index += 3) {
    const auto piece =
        textBytes(text).subspan(index, std::min<std::size_t>(3, text.size() - index));
    ASSERT_EQ(creation.cryptor->update(piece, output, written), 0);
    pieces.insert(pieces.end(), output.begin(), output.begin() + static_cast<int>(written));
  }
  ASSERT_EQ(creation.cryptor->finish(output, written), 0);
  pieces.insert(pieces.end(), output.begin(), output.begin() + static_cast<int>(written));
  EXPECT_EQ(pieces, whole);
}

TEST(Cryptor, ManyThreadsMayBeginAtOnce) {
  std::vector<std::thread> threads;
  std::array<std::optional<SMCEncryption::Data>, 8> results;
  for (auto& result : results) {
    threads.emplace_back(
        [&result] { result = SMCEncryption::encryptedDataWithKey(textBytes("text"), "12345678"); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_TRUE(results[0]);
  for (const auto& result : results) {
    EXPECT_EQ(result, results[0]);
  }
}

}  // namespace
}  // namespace kelvora::testing
