#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::testing {

/// The bytes that hexadecimal digits write; blanks between them do not count.
inline std::vector<std::byte> bytesOfHex(std::string_view text) {
  std::string digits;
  for (const char character : text) {
    if (character != ' ') {
      digits += character;
    }
  }
  std::vector<std::byte> bytes;
  for (std::size_t index = 0; index + 1 < digits.size(); index += 2) {
    bytes.push_back(static_cast<std::byte>(std::stoi(digits.substr(index, 2), nullptr, 16)));
  }
  return bytes;
}

/// The hexadecimal digits of bytes, in lower case.
inline std::string hexOf(std::span<const std::byte> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::byte byte : bytes) {
    text += kDigits[std::to_integer<std::size_t>(byte >> 4)];
    text += kDigits[std::to_integer<std::size_t>(byte & std::byte{15})];
  }
  return text;
}

}  // namespace kelvora::testing
