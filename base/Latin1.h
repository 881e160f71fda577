#pragma once

#include <string>

namespace kelvora {

/// Appends the character U+0000 to U+00FF of this number in UTF-8, e.g. 0xb5 as "µ".
inline void appendLatin1(std::string& text, unsigned char character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else {
    text += static_cast<char>(0xc0 | character >> 6);
    text += static_cast<char>(0x80 | (character & 0x3f));
  }
}

}  // namespace kelvora
