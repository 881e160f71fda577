#include "base/UTF8Text.h"

#include <algorithm>

#include <unicode/unistr.h>

namespace kelvora {

std::string validUTF8(std::string_view text) {
  const bool ascii = std::all_of(text.begin(), text.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  std::string valid;
  if (ascii) {
    valid = text;
  } else {
    icu::UnicodeString::fromUTF8(text).toUTF8String(valid);
  }
  return valid;
}

}  // namespace kelvora
