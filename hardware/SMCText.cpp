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

std::uint32_t packedKeyFromText(std::string_view text) {
  if (std::ranges::all_of(text.substr(0, 4), isASCII)) {
    return SMCPackedKey(text);  // nearly every key
  }
  return SMCPackedKey(latin1OfUTF8(validUTF8(text.substr(0, kMostBytes))));
}

}  // namespace kelvora
