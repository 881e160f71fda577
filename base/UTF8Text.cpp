#include "base/UTF8Text.h"

#include <cstddef>
#include <cstdint>

#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace kelvora {

bool isValidUTF8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t index = 0; index < text.size();) {
    UChar32 character = 0;
    U8_NEXT(bytes, index, text.size(), character);
    if (character < 0) {
      return false;
    }
  }
  return true;
}

std::string validUTF8(std::string_view text) {
  if (isValidUTF8(text)) {
    return std::string(text);
  }
  std::string valid;
  return icu::UnicodeString::fromUTF8(text).toUTF8String(valid);
}

}  // namespace kelvora
