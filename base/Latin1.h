#pragma once

#include <string>
#include <string_view>

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

/// The numbers of the characters of well-formed UTF-8, a byte each; "?" for one above U+00FF.
inline std::string latin1OfUTF8(std::string_view text) {
  std::string result;
  unsigned lead = 0;  // 0xc2 and 0xc3 for U+0080 to U+00FF
  for (const char character : text) {
    const unsigned byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      result += character;
    } else if (byte >= 0xc0) {
      lead = byte;
      result += lead > 0xc3 ? "?" : "";
    } else if (lead <= 0xc3) {
      result += static_cast<char>((lead & 0x03) << 6 | (byte & 0x3f));
    }
  }
  return result;
}

}  // namespace kelvora
