#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace kelvora {

/// Two lower-case digits for each byte: {0x1f, 0x40} is "1f40".
std::string hexadecimalText(std::span<const std::byte> bytes);

/// The number that hexadecimal digits of either case write, e.g. 31 for "1F"; none if it is no
/// byte.
inline std::optional<std::uint8_t> hexadecimalByte(std::string_view digits) {
  std::uint8_t byte = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, byte, 16);
  return error == std::errc() && stop == end ? std::optional(byte) : std::nullopt;
}

}  // namespace kelvora
