// The cipher with any algorithm, key, vector and options: what is enciphered is deciphered to the
// same, and what is refused has a status.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>

#include "KelvoraCore/SMCEncryption.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

using Bytes = std::span<const std::byte>;

Bytes take(Bytes& bytes, std::size_t count) {
  const Bytes taken = bytes.first(std::min(count, bytes.size()));
  bytes = bytes.subspan(taken.size());
  return taken;
}

std::uint8_t takeByte(Bytes& bytes) {
  const Bytes taken = take(bytes, 1);
  return taken.empty() ? std::uint8_t{0} : std::to_integer<std::uint8_t>(taken[0]);
}

}  // namespace

// The input is an algorithm, options, the lengths of key and vector, then key, vector and data.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvora::SMCEncryption;
  Bytes rest = std::as_bytes(std::span(data, size));
  const std::uint32_t algorithm = takeByte(rest) % 8;
  const std::uint32_t options = takeByte(rest);
  const std::size_t keyLength = takeByte(rest);
  const std::size_t vectorLength = takeByte(rest) % 32;
  const Bytes key = take(rest, keyLength);
  const std::optional<TextOrData> vector =
      vectorLength == 0 ? std::nullopt : std::optional<TextOrData>(take(rest, vectorLength));
  std::int32_t status = 0;
  const auto enciphered =
      encryptedDataUsingAlgorithm(rest, algorithm, key, vector, options, &status);
  require(enciphered.has_value() == (status == 0));
  if (enciphered) {
    const auto plain = decryptedDataUsingAlgorithm(*enciphered, algorithm, key, vector, options);
    require(plain && std::ranges::equal(*plain, rest));
  }
  status = 0;
  const auto deciphered =
      decryptedDataUsingAlgorithm(rest, algorithm, key, vector, options, &status);
  require(deciphered.has_value() == (status == 0) &&
          deciphered.value_or(Data()).size() <= rest.size());
  return 0;
}
