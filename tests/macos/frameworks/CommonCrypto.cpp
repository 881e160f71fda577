// A cipher that turns bits of each byte over. What a real one does with the same arguments is not
// asked here.
#include "tests/macos/frameworks/CommonCrypto.h"

#include <memory>
#include <string>
#include <vector>

#define __STDC_WANT_LIB_EXT1__ 1
#include <CommonCrypto/CommonCryptor.h>
#include <string.h>

#include "tests/macos/frameworks/Ledger.h"

using kelvora::testing::mac::kCipherFailure;
using kelvora::testing::mac::kCipherMask;
using kelvora::testing::mac::Ledger;

struct _CCCryptor {
  bool isOpen = true;
};

namespace {

// Freed ones stay known, so that a use after the release is seen.
std::vector<std::unique_ptr<_CCCryptor>>& cryptors() {
  static std::vector<std::unique_ptr<_CCCryptor>> made;
  return made;
}

void requireOpen(const std::string& function, CCCryptorRef cryptor) {
  if (cryptor == nullptr || !cryptor->isOpen) {
    Ledger::misuse(function, "there is no such cryptor, or not any more");
  }
}

std::string textOf(const void* bytes, size_t length) {
  return bytes == nullptr ? "null" : std::string(static_cast<const char*>(bytes), length);
}

}  // namespace

CCCryptorStatus CCCryptorCreate(CCOperation operation, CCAlgorithm algorithm, CCOptions options,
                                const void* key, size_t keyLength, const void* vector,
                                CCCryptorRef* cryptor) {
  if (Ledger::shared().called("CCCryptorCreate", operation, algorithm, options,
                              textOf(key, keyLength), textOf(vector, 8))) {
    return kCipherFailure;
  }
  Ledger::shared().opened("cryptor");
  cryptors().push_back(std::make_unique<_CCCryptor>());
  *cryptor = cryptors().back().get();
  return kCCSuccess;
}

CCCryptorStatus CCCryptorRelease(CCCryptorRef cryptor) {
  requireOpen("CCCryptorRelease", cryptor);
  Ledger::shared().called("CCCryptorRelease");
  Ledger::shared().closed("cryptor");
  cryptor->isOpen = false;
  return kCCSuccess;
}

CCCryptorStatus CCCryptorUpdate(CCCryptorRef cryptor, const void* input, size_t inputLength,
                                void* output, size_t outputSize, size_t* written) {
  requireOpen("CCCryptorUpdate", cryptor);
  const bool fails =
      Ledger::shared().called("CCCryptorUpdate", textOf(input, inputLength), outputSize);
  for (size_t index = 0; index < inputLength; ++index) {
    const auto byte = static_cast<const unsigned char*>(input)[index];
    static_cast<unsigned char*>(output)[index] = byte ^ kCipherMask;
  }
  *written = inputLength;
  return fails ? kCipherFailure : kCCSuccess;
}

CCCryptorStatus CCCryptorFinal(CCCryptorRef cryptor, void* output, size_t outputSize,
                               size_t* written) {
  requireOpen("CCCryptorFinal", cryptor);
  if (Ledger::shared().called("CCCryptorFinal", outputSize)) {
    return kCipherFailure;
  }
  *static_cast<unsigned char*>(output) = kCipherMask;
  *written = 1;
  return kCCSuccess;
}

size_t CCCryptorGetOutputLength(CCCryptorRef cryptor, size_t inputLength, bool isFinal) {
  requireOpen("CCCryptorGetOutputLength", cryptor);
  Ledger::shared().called("CCCryptorGetOutputLength", inputLength, isFinal);
  return inputLength + 4;
}

int memset_s(void* memory, size_t size, int byte, size_t count) {
  Ledger::shared().called("memset_s", textOf(memory, size), byte, count);
  memset(memory, byte, count);
  return 0;
}
