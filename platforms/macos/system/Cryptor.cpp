// For memset_s.
#define __STDC_WANT_LIB_EXT1__ 1

#include "ports/Cryptor.h"

#include <CommonCrypto/CommonCryptor.h>
#include <string.h>

namespace kelvora::platform {

namespace {

class CommonCryptor : public Cryptor {
 public:
  explicit CommonCryptor(CCCryptorRef cryptor) : cryptor_(cryptor) {}
  ~CommonCryptor() override { CCCryptorRelease(cryptor_); }
  CommonCryptor(const CommonCryptor&) = delete;
  CommonCryptor& operator=(const CommonCryptor&) = delete;

  std::size_t outputLength(std::size_t inputLength) const override {
    return CCCryptorGetOutputLength(cryptor_, inputLength, true);
  }

  std::int32_t update(std::span<const std::byte> input, std::span<std::byte> output,
                      std::size_t& written) override {
    return CCCryptorUpdate(cryptor_, input.data(), input.size(), output.data(), output.size(),
                           &written);
  }

  std::int32_t finish(std::span<std::byte> output, std::size_t& written) override {
    return CCCryptorFinal(cryptor_, output.data(), output.size(), &written);
  }

 private:
  CCCryptorRef cryptor_;
};

}  // namespace

CryptorCreation createCryptor(const CryptorRequest& request) {
  CCCryptorRef cryptor = nullptr;
  const CCCryptorStatus status = CCCryptorCreate(
      request.encrypts ? kCCEncrypt : kCCDecrypt, request.algorithm, request.options,
      request.key.data(), request.key.size(), request.vector, &cryptor);
  if (status != kCCSuccess) {
    return {nullptr, status};
  }
  return {std::make_unique<CommonCryptor>(cryptor), status};
}

void wipe(std::span<std::byte> bytes) {
  if (!bytes.empty()) {
    memset_s(bytes.data(), bytes.size(), 0, bytes.size());
  }
}

}  // namespace kelvora::platform
