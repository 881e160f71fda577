#include "KelvoraCore/SMCText.h"

#include <algorithm>
#include <cstddef>

#include "KelvoraCore/SMCRecords.h"

#include "base/Latin1.h"
#include "base/UTF8Text.h"

namespace kelvora {

namespace {

constexpr std::size_t kMostBytes = 16;  // four characters of at most four bytes

bool isASCII(char character) { return static_cast<unsigned char>(character) < 0x80; }

}  // namespace

void appendSMCCharacter(std::string& text, unsigned char byte) { appendLatin1(text, byte); }

std::string textFromSMC(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes.substr(0, bytes.find('\0'))) {
    appendSMCCharacter(text, static_cast<unsigned char>(byte));
  }
  return text;
}

// Well-formed UTF-8 has the characters up to U+00FF as the lead bytes 0xc2 and 0xc3 with one more
// byte; those above have higher lead bytes.
std::uint32_t packedKeyFromText(std::string_view text) {
  if (std::ranges::all_of(text.substr(0, 4), isASCII)) {
    return SMCPackedKey(text);  // nearly every key
  }
  std::string key;
  unsigned lead = 0;
  for (const char character : validUTF8(text.substr(0, kMostBytes))) {
    const unsigned byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      key += character;
    } else if (byte >= 0xc0) {
      lead = byte;
      key += lead > 0xc3 ? "?" : "";
    } else if (lead <= 0xc3) {
      key += static_cast<char>((lead & 0x03) << 6 | (byte & 0x3f));
    }
  }
  return SMCPackedKey(key);
}

}  // namespace kelvora
