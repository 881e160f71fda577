#pragma once

#include <cstddef>
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

}  // namespace kelvora::testing
