#include "ports/Cryptor.h"

#include <algorithm>
#include <array>
#include <new>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/provider.h>

#include "KelvoraCore/SMCCipher.h"

namespace kelvora::platform {

namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;
using FetchedCipher = std::unique_ptr<EVP_CIPHER, decltype(&EVP_CIPHER_free)>;

struct Cipher {
  std::uint32_t algorithm;
  std::size_t shortestKey;
  std::size_t longestKey;
  const char* cbc;
  const char* ecb;
};

constexpr Cipher kCiphers[] = {
    {kSMCCipherAES, 16, 16, "AES-128-CBC", "AES-128-ECB"},
    {kSMCCipherAES, 24, 24, "AES-192-CBC", "AES-192-ECB"},
    {kSMCCipherAES, 32, 32, "AES-256-CBC", "AES-256-ECB"},
    {kSMCCipherDES, 8, 8, "DES-CBC", "DES-ECB"},
    {kSMCCipher3DES, 24, 24, "DES-EDE3-CBC", "DES-EDE3-ECB"},
    {kSMCCipherCAST, 5, 16, "CAST5-CBC", "CAST5-ECB"},
    {kSMCCipherRC4, 1, 512, "RC4", "RC4"},
    {kSMCCipherRC2, 1, 128, "RC2-CBC", "RC2-ECB"},
    {kSMCCipherBlowfish, 8, 56, "BF-CBC", "BF-ECB"},
};

// The row of the table; null, with the reason, if no row fits.
const Cipher* cipherOf(const CryptorRequest& request, std::int32_t& status) {
  status = kSMCCipherParamError;
  for (const Cipher& cipher : kCiphers) {
    if (cipher.algorithm == request.algorithm) {
      status = kSMCCipherKeySizeError;
      if (request.key.size() >= cipher.shortestKey && request.key.size() <= cipher.longestKey) {
        return &cipher;
      }
    }
  }
  return nullptr;
}

// The host's own queue of OpenSSL's errors stays as it was.
class QuietErrors {
 public:
  QuietErrors() { ERR_set_mark(); }
  ~QuietErrors() { ERR_pop_to_mark(); }
  QuietErrors(const QuietErrors&) = delete;
  QuietErrors& operator=(const QuietErrors&) = delete;
};

// Apart from the host's, so that neither has the providers and the configuration of the other. It
// lives as long as the process: OpenSSL cleans up before the last static objects end.
OSSL_LIB_CTX* libraryContext() {
  static OSSL_LIB_CTX* const context = [] {
    OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
    return made == nullptr ? throw std::bad_alloc() : made;
  }();
  return context;
}

FetchedCipher fetched(const char* name) {
  EVP_CIPHER* cipher = EVP_CIPHER_fetch(libraryContext(), name, nullptr);
  if (cipher == nullptr) {
    // DES and its contemporaries are in a module, a file of its own. One that could not be loaded
    // before may be now.
    OSSL_PROVIDER_try_load(libraryContext(), "legacy", 1);  // beside the default provider
    cipher = EVP_CIPHER_fetch(libraryContext(), name, nullptr);
  }
  return {cipher, &EVP_CIPHER_free};
}

const unsigned char* raw(const std::byte* data) {
  return reinterpret_cast<const unsigned char*>(data);
}

unsigned char* raw(std::byte* data) { return reinterpret_cast<unsigned char*>(data); }

// The key's length must be known before the key. As many of RC2's bits count as the key has.
bool prepare(EVP_CIPHER_CTX* context, const EVP_CIPHER* cipher, const CryptorRequest& request) {
  static constexpr std::array<unsigned char, EVP_MAX_IV_LENGTH> kZeros{};
  std::size_t keyBits = request.key.size() * 8;
  const std::array<OSSL_PARAM, 2> rc2 = {
      OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_RC2_KEYBITS, &keyBits),
      OSSL_PARAM_construct_end()};
  const bool pads = (request.options & kSMCCipherPKCS7Padding) != 0;
  const unsigned char* vector = request.vector == nullptr ? kZeros.data() : raw(request.vector);
  const int direction = request.encrypts ? 1 : 0;
  return EVP_CipherInit_ex2(context, cipher, nullptr, nullptr, direction, nullptr) == 1 &&
         EVP_CIPHER_CTX_set_key_length(context, static_cast<int>(request.key.size())) == 1 &&
         EVP_CIPHER_CTX_set_params(context, rc2.data()) == 1 &&
         EVP_CIPHER_CTX_set_padding(context, pads ? 1 : 0) == 1 &&
         EVP_CipherInit_ex2(context, nullptr, raw(request.key.data()), vector, direction,
                            nullptr) == 1;
}

class OpenSSLCryptor : public Cryptor {
 public:
  OpenSSLCryptor(CipherContext context, const CryptorRequest& request)
      : context_(std::move(context)),
        block_(static_cast<std::size_t>(EVP_CIPHER_CTX_get_block_size(context_.get()))),
        encrypts_(request.encrypts),
        pads_((request.options & kSMCCipherPKCS7Padding) != 0) {}

  std::size_t outputLength(std::size_t inputLength) const override {
    return (inputLength / block_ + 1) * block_;
  }

  std::int32_t update(std::span<const std::byte> input, std::span<std::byte> output,
                      std::size_t& written) override {
    written = 0;
    if (output.size() < outputLength(input.size())) {
      return kSMCCipherBufferTooSmall;
    }
    processed_ += input.size();
    while (!input.empty()) {
      const auto part = input.first(std::min(input.size(), kLargestPart));
      if (!updatePart(part, output, written)) {
        return kSMCCipherMemoryFailure;
      }
      input = input.subspan(part.size());
    }
    return kSMCCipherSuccess;
  }

  std::int32_t finish(std::span<std::byte> output, std::size_t& written) override {
    const QuietErrors errors;
    written = 0;
    if (processed_ % block_ != 0 && !(encrypts_ && pads_)) {
      return kSMCCipherAlignmentError;
    }
    if (pads_ && output.size() < block_) {
      return kSMCCipherBufferTooSmall;
    }
    int count = 0;
    if (EVP_CipherFinal_ex(context_.get(), raw(output.data()), &count) != 1) {
      return kSMCCipherDecodeError;
    }
    written = static_cast<std::size_t>(count);
    return kSMCCipherSuccess;
  }

 private:
  // OpenSSL counts in int.
  static constexpr std::size_t kLargestPart = 1 << 20;

  bool updatePart(std::span<const std::byte> part, std::span<std::byte> output,
                  std::size_t& written) {
    const QuietErrors errors;
    int count = 0;
    if (EVP_CipherUpdate(context_.get(), raw(output.data()) + written, &count, raw(part.data()),
                         static_cast<int>(part.size())) != 1) {
      return false;
    }
    written += static_cast<std::size_t>(count);
    return true;
  }

  CipherContext context_;
  std::size_t block_;
  bool encrypts_;
  bool pads_;
  std::size_t processed_ = 0;
};

}  // namespace

CryptorCreation createCryptor(const CryptorRequest& request) {
  const QuietErrors errors;
  std::int32_t status = kSMCCipherSuccess;
  const Cipher* row = cipherOf(request, status);
  if (row == nullptr) {
    return {nullptr, status};
  }
  const bool isECB = (request.options & kSMCCipherECBMode) != 0;
  const FetchedCipher cipher = fetched(isECB ? row->ecb : row->cbc);
  if (!cipher) {
    return {nullptr, kSMCCipherUnimplemented};
  }
  CipherContext context(EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  if (!context || !prepare(context.get(), cipher.get(), request)) {
    return {nullptr, kSMCCipherMemoryFailure};
  }
  return {std::make_unique<OpenSSLCryptor>(std::move(context), request), kSMCCipherSuccess};
}

void wipe(std::span<std::byte> bytes) { OPENSSL_cleanse(bytes.data(), bytes.size()); }

}  // namespace kelvora::platform
