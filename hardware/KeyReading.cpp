#include "hardware/KeyReading.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <string>

#include "KelvoraCore/Platform.h"

#include "hardware/SMCConnection.h"

namespace kelvora {

namespace {

std::string hexadecimal(const SMCValueRecord& value) {
  std::string text;
  for (std::uint32_t i = 0; i < std::min<std::uint32_t>(value.dataSize, sizeof value.bytes); ++i) {
    std::array<char, 3> digits = {};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned>(value.bytes[i]));
    text += digits.data();
  }
  return text;
}

// Empty when the key cannot be read; the SMC gives a key that it does not know the size 0.
std::string bytesOf(Platform& platform, std::string_view key) {
  SMCConnection connection(platform.smc());
  const SMCConnection::Opening opening = connection.openSilently();
  if (opening.status != platform::kKernelSuccess || opening.failedCall != nullptr) {
    return "";
  }
  SMCValueRecord value;
  const auto status = connection.readKey(SMCPackedKey(key), value);
  connection.close();
  return status == platform::kKernelSuccess ? hexadecimal(value) : "";
}

}  // namespace

bool isReadable(Platform& platform, std::string_view key) {
  return !bytesOf(platform, key).empty();
}

bool readsAs(Platform& platform, std::string_view key, std::string_view value) {
  const auto isSameDigit = [](unsigned char read, unsigned char digit) {
    return read == std::tolower(digit);
  };
  return std::ranges::equal(bytesOf(platform, key), value, isSameDigit);
}

}  // namespace kelvora
