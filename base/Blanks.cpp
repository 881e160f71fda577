#include "base/Blanks.h"

#include <cstddef>
#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace kelvora {

namespace {

using Membership = bool (*)(UChar32);

bool isBlankCharacter(UChar32 character) {
  return character == '\t' || (character >= 0 && u_charType(character) == U_SPACE_SEPARATOR);
}

bool isBlankOrLineEnd(UChar32 character) {
  constexpr UChar32 kNextLine = 0x85;
  constexpr UChar32 kLineSeparator = 0x2028;
  constexpr UChar32 kParagraphSeparator = 0x2029;
  return isBlankCharacter(character) || (character >= '\n' && character <= '\r') ||
         character == kNextLine || character == kLineSeparator || character == kParagraphSeparator;
}

// The character that begins at `index`, which moves behind it. Negative if the bytes are not UTF-8.
UChar32 nextCharacter(std::string_view text, std::size_t& index) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  UChar32 character = 0;
  U8_NEXT(bytes, index, text.size(), character);
  return character;
}

std::size_t beginOfLastCharacter(std::string_view text) {
  std::size_t begin = text.size() - 1;
  while (begin > 0 && U8_IS_TRAIL(text[begin])) {
    --begin;
  }
  return begin;
}

std::string_view trimmed(std::string_view text, Membership isMember) {
  for (std::size_t end = 0; !text.empty(); text.remove_prefix(end), end = 0) {
    if (!isMember(nextCharacter(text, end))) {
      break;
    }
  }
  while (!text.empty()) {
    const std::size_t begin = beginOfLastCharacter(text);
    std::size_t end = begin;
    if (!isMember(nextCharacter(text, end)) || end != text.size()) {
      break;
    }
    text.remove_suffix(text.size() - begin);
  }
  return text;
}

}  // namespace

std::string_view trimmedOfBlanks(std::string_view text) { return trimmed(text, isBlankCharacter); }

std::string_view trimmedOfBlanksAndLineEnds(std::string_view text) {
  return trimmed(text, isBlankOrLineEnd);
}

std::string withSingleBlanks(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char character : text) {
    if (character != ' ' || !result.ends_with(' ')) {
      result += character;
    }
  }
  return result;
}

}  // namespace kelvora
