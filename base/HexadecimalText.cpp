#include "base/HexadecimalText.h"

namespace kelvora {

std::string hexadecimalText(std::span<const std::byte> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::byte byte : bytes) {
    text += kDigits[std::to_integer<unsigned>(byte) >> 4];
    text += kDigits[std::to_integer<unsigned>(byte) & 0xf];
  }
  return text;
}

}  // namespace kelvora
