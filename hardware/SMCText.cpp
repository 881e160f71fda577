#include "hardware/SMCText.h"

#include <cstddef>
#include <cstdint>

#include <unicode/unistr.h>

namespace kelvora {

namespace {

constexpr std::size_t kCharacters = 4;
constexpr std::size_t kLongestCharacter = 4;  // bytes of UTF-8
constexpr UChar32 kHighestByte = 0xff;

icu::UnicodeString decoded(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

}  // namespace

void appendSMCCharacter(std::string& text, unsigned char byte) {
  if (byte < 0x80) {
    text += static_cast<char>(byte);
  } else {
    text += static_cast<char>(0xc0 | byte >> 6);
    text += static_cast<char>(0x80 | (byte & 0x3f));
  }
}

std::string textFromSMC(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes.substr(0, bytes.find('\0'))) {
    appendSMCCharacter(text, static_cast<unsigned char>(byte));
  }
  return text;
}

SMCKeyText smcKeyFromText(std::string_view text) {
  const icu::UnicodeString characters = decoded(text.substr(0, kCharacters * kLongestCharacter));
  SMCKeyText key{};
  std::int32_t position = 0;
  for (std::size_t i = 0; i < kCharacters && position < characters.length(); ++i) {
    const UChar32 character = characters.char32At(position);
    key[i] = character > kHighestByte ? '?' : static_cast<char>(character);
    position = characters.moveIndex32(position, 1);
  }
  return key;
}

std::string wellFormed(std::string_view text) {
  std::string result;
  decoded(text).toUTF8String(result);
  return result;
}

}  // namespace kelvora
