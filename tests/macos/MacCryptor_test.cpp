// The cipher of the system's library, through the functions that hosts call.
#include <array>
#include <string>
#include <string_view>

#include "KelvoraCore/SMCEncryption.h"

#include "ports/Cryptor.h"
#include "tests/macos/frameworks/CommonCrypto.h"
#include "tests/macos/frameworks/MacTest.h"
#include "tests/support/TextBytes.h"

namespace kelvora::testing::mac {
namespace {

using Calls = std::vector<std::string>;
using SMCEncryption::Data;
using MacCryptorTest = MacTest;

Data masked(std::string_view text) {
  Data result;
  for (const char character : text) {
    result.push_back(static_cast<std::byte>(character) ^ std::byte{kCipherMask});
  }
  return result;
}

// The last byte is the one that the double adds.
Data maskedAndOneMore(std::string_view text) { return masked(std::string(text) + '\0'); }

TEST_F(MacCryptorTest, EnciphersByTheSystemsLibraryInItsOrder) {
  EXPECT_EQ(SMCEncryption::encryptedDataWithKey(textBytes("abcde"), "12345678"),
            maskedAndOneMore("abcde"));
  const std::string unused = std::string("\0\0\0", 3);
  EXPECT_EQ(ledger.calls(),
            (Calls{"CCCryptorCreate(0, 1, 1, 12345678, null)", "CCCryptorGetOutputLength(5, 1)",
                   "CCCryptorUpdate(abcde, 9)", "CCCryptorFinal(4)",
                   "memset_s(" + unused + ", 0, 3)", "CCCryptorRelease()"}));
}

TEST_F(MacCryptorTest, DeciphersWithTheOtherOperation) {
  EXPECT_EQ(SMCEncryption::decryptedDataWithKey(textBytes("abcde"), "12345678"),
            maskedAndOneMore("abcde"));
  EXPECT_EQ(ledger.calls().at(0), "CCCryptorCreate(1, 1, 1, 12345678, null)");
}

TEST_F(MacCryptorTest, EveryArgumentReachesTheLibrary) {
  SMCEncryption::encryptedDataUsingAlgorithm(textBytes("x"), 99, "key", "a vector, longer", 1004);
  EXPECT_EQ(ledger.calls().at(0), "CCCryptorCreate(0, 99, 1004, key, a vector)");
}

TEST_F(MacCryptorTest, WithoutAModeThatReadsTheVectorNoneIsPassed) {
  SMCEncryption::encryptedDataUsingAlgorithm(textBytes("x"), kSMCCipherAES, "key", "short",
                                             kSMCCipherECBMode);
  EXPECT_EQ(ledger.calls().at(0), "CCCryptorCreate(0, 0, 2, key, null)");
}

TEST_F(MacCryptorTest, AVectorThatIsTooShortIsRefusedBeforeAnyCall) {
  std::int32_t status = 0;
  EXPECT_FALSE(SMCEncryption::encryptedDataUsingAlgorithm(textBytes("x"), kSMCCipherDES, "12345678",
                                                          "1234567", 0, &status));
  EXPECT_EQ(status, kSMCCipherParamError);
  EXPECT_EQ(ledger.calls(), Calls());
}

TEST_F(MacCryptorTest, AFailedCreationIsItsStatusAndNothingIsReleased) {
  ledger.failCall("CCCryptorCreate");
  std::int32_t status = 0;
  EXPECT_FALSE(SMCEncryption::encryptedDataUsingAlgorithm(textBytes("x"), 1, "12345678",
                                                          std::nullopt, 0, &status));
  EXPECT_EQ(status, kCipherFailure);
  EXPECT_EQ(ledger.calls().size(), 1U);
}

TEST_F(MacCryptorTest, AFailedUpdateIsItsStatusAndTheWholeBufferIsWiped) {
  ledger.failCall("CCCryptorUpdate");
  std::int32_t status = 0;
  EXPECT_FALSE(SMCEncryption::decryptedDataUsingAlgorithm(textBytes("abc"), 1, "12345678",
                                                          std::nullopt, 0, &status));
  EXPECT_EQ(status, kCipherFailure);
  ASSERT_EQ(ledger.calls().size(), 5U);
  EXPECT_TRUE(ledger.calls()[3].starts_with("memset_s(;89"));
  EXPECT_TRUE(ledger.calls()[3].ends_with(", 0, 7)"));
  EXPECT_EQ(ledger.calls()[4], "CCCryptorRelease()");
}

TEST_F(MacCryptorTest, AFailedFinalStepIsItsStatusAndTheWholeBufferIsWiped) {
  ledger.failCall("CCCryptorFinal");
  std::int32_t status = 0;
  EXPECT_FALSE(SMCEncryption::decryptedDataUsingAlgorithm(textBytes("abc"), 1, "12345678",
                                                          std::nullopt, 0, &status));
  EXPECT_EQ(status, kCipherFailure);
  ASSERT_EQ(ledger.calls().size(), 6U);
  EXPECT_TRUE(ledger.calls()[4].ends_with(", 0, 7)"));
  EXPECT_EQ(ledger.calls()[5], "CCCryptorRelease()");
}

TEST_F(MacCryptorTest, WipingNothingCallsNothing) {
  platform::wipe({});
  EXPECT_EQ(ledger.calls(), Calls());
  std::array<std::byte, 3> secret = {std::byte{1}, std::byte{2}, std::byte{3}};
  platform::wipe(secret);
  EXPECT_EQ(secret, (std::array<std::byte, 3>{}));
}

}  // namespace
}  // namespace kelvora::testing::mac
