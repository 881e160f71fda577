#include <cstdint>
#include <memory>

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include "KelvoraCore/KVExtension.h"

namespace kelvora::KVExtension {

namespace {

// In ICU's unit of match-engine steps, each about a millisecond. ICU's own default bounds the
// memory that backtracking takes.
constexpr std::int32_t kMatchTimeLimit = 1000;

icu::UnicodeString decoded(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string encoded(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

// A matcher over `text`, which outlives it, or null for a pattern that cannot be compiled.
std::unique_ptr<icu::RegexMatcher> matcher(std::string_view pattern, const icu::UnicodeString& text,
                                           std::uint32_t options) {
  UErrorCode status = U_ZERO_ERROR;
  auto result = std::make_unique<icu::RegexMatcher>(decoded(pattern), text, options, status);
  result->setTimeLimit(kMatchTimeLimit, status);
  return U_SUCCESS(status) ? std::move(result) : nullptr;
}

std::string replacedMatches(std::string_view text, std::string_view pattern, std::uint32_t options,
                            const icu::UnicodeString& replacement) {
  const icu::UnicodeString decodedText = decoded(text);
  const auto matches = matcher(pattern, decodedText, options);
  if (!matches) {
    return std::string(text);
  }
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString result = matches->replaceAll(replacement, status);
  return U_SUCCESS(status) ? encoded(result) : std::string(text);
}

bool isDigit(char16_t character) { return character >= u'0' && character <= u'9'; }

// macOS and ICU differ in two places: a "$" before anything but a digit is itself and not an
// error, and "\u0041" is "u0041" and not the character of that number.
icu::UnicodeString asICUTemplate(const icu::UnicodeString& replacement) {
  icu::UnicodeString result;
  for (std::int32_t index = 0; index < replacement.length(); ++index) {
    const char16_t character = replacement[index];
    const char16_t next = replacement.charAt(index + 1);
    if (character == u'\\') {
      if (next != u'u' && next != u'U') {
        result.append(character);
      }
      ++index;
    } else if (character == u'$' && !isDigit(next)) {
      result.append(u'\\');
    }
    if (index < replacement.length()) {
      result.append(replacement[index]);
    }
  }
  return result;
}

}  // namespace

std::string getPattern(std::string_view text, std::string_view pattern) {
  const icu::UnicodeString decodedText = decoded(text);
  const auto matches = matcher(pattern, decodedText, 0);
  UErrorCode status = U_ZERO_ERROR;
  if (!matches || !matches->find(status) || U_FAILURE(status)) {
    return "";
  }
  return trimWhitespace(encoded(matches->group(status)));
}

std::string trimPattern(std::string_view text, std::string_view pattern) {
  return replacedMatches(text, pattern, 0, {});
}

std::string removedRegexMatchesWithPattern(std::string_view text, std::string_view pattern,
                                           std::string_view replaceWith) {
  return replacedMatches(text, pattern, UREGEX_CASE_INSENSITIVE,
                         asICUTemplate(decoded(replaceWith)));
}

}  // namespace kelvora::KVExtension
