#include "KelvoraCore/SMCEncryption.h"

#include "hardware/CryptorRun.h"
#include "ports/Cryptor.h"

namespace kelvora::SMCEncryption {

namespace {

using Bytes = std::span<const std::byte>;

Bytes bytesOf(const TextOrData& value) {
  const auto* text = std::get_if<std::string_view>(&value);
  return text == nullptr ? std::get<Bytes>(value) : std::as_bytes(std::span(*text));
}

// How many bytes the cipher reads of a vector, without a look at how long it is.
std::size_t vectorLength(std::uint32_t algorithm, std::uint32_t options) {
  if ((options & kSMCCipherECBMode) != 0 || algorithm == kSMCCipherRC4) {
    return 0;
  }
  return algorithm == kSMCCipherAES ? 16 : 8;
}

std::optional<Data> processed(Bytes data, const platform::CryptorRequest& request,
                              std::int32_t& status) {
  const platform::CryptorCreation creation = platform::createCryptor(request);
  status = creation.status;
  return creation.cryptor ? runCryptor(*creation.cryptor, data, status) : std::nullopt;
}

std::optional<Data> processed(Bytes data, platform::CryptorRequest request,
                              const std::optional<TextOrData>& vector, std::int32_t* error) {
  const std::size_t needed = vectorLength(request.algorithm, request.options);
  const Bytes given = vector ? bytesOf(*vector) : Bytes();
  std::int32_t status = kSMCCipherParamError;
  std::optional<Data> result;
  if (!vector || given.size() >= needed) {
    request.vector = needed == 0 ? nullptr : given.data();
    result = processed(data, request, status);
  }
  if (!result && error != nullptr) {
    *error = status;
  }
  return result;
}

}  // namespace

std::optional<Data> encryptedDataWithKey(Bytes data, std::string_view key) {
  return encryptedDataUsingAlgorithm(data, kSMCCipherDES, key, std::nullopt,
                                     kSMCCipherPKCS7Padding);
}

std::optional<Data> decryptedDataWithKey(Bytes data, std::string_view key) {
  return decryptedDataUsingAlgorithm(data, kSMCCipherDES, key, std::nullopt,
                                     kSMCCipherPKCS7Padding);
}

std::optional<Data> encryptedDataUsingAlgorithm(
    Bytes data, std::uint32_t algorithm, const TextOrData& key,
    const std::optional<TextOrData>& initializationVector, std::uint32_t options,
    std::int32_t* error) {
  return processed(data, {true, algorithm, options, bytesOf(key)}, initializationVector, error);
}

std::optional<Data> decryptedDataUsingAlgorithm(
    Bytes data, std::uint32_t algorithm, const TextOrData& key,
    const std::optional<TextOrData>& initializationVector, std::uint32_t options,
    std::int32_t* error) {
  return processed(data, {false, algorithm, options, bytesOf(key)}, initializationVector, error);
}

}  // namespace kelvora::SMCEncryption
