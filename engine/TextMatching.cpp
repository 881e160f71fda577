#include "engine/TextMatching.h"

#include <memory>

#include <SQLiteCpp/Database.h>
#include <sqlite3.h>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace kelvora::engine {

namespace {

constexpr int kIgnoreCase = 1;
constexpr int kIgnoreAccents = 2;

icu::UnicodeString withoutAccents(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* decomposer = icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) {
    return text;
  }
  const icu::UnicodeString decomposed = decomposer->normalize(text, status);
  icu::UnicodeString bare;
  for (int32_t i = 0; i < decomposed.length(); i = decomposed.moveIndex32(i, 1)) {
    const UChar32 character = decomposed.char32At(i);
    if (u_charType(character) != U_NON_SPACING_MARK) {
      bare.append(character);
    }
  }
  return bare;
}

icu::UnicodeString folded(std::string_view text, TextOptions options) {
  auto unicode = icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  if (options.ignoreAccents) {
    unicode = withoutAccents(unicode);
  }
  if (options.ignoreCase) {
    unicode.foldCase();
  }
  return unicode;
}

// The pattern of LIKE as a regular expression: every character but * and ? means itself.
icu::UnicodeString regexOfLike(const icu::UnicodeString& pattern) {
  icu::UnicodeString regex;
  for (int32_t i = 0; i < pattern.length(); i = pattern.moveIndex32(i, 1)) {
    const UChar32 character = pattern.char32At(i);
    if (character == '*') {
      regex.append(u".*", 2);
    } else if (character == '?') {
      regex.append(u'.');
    } else {
      if (u_isalnum(character) == 0 && character < 0x80) {
        regex.append(u'\\');
      }
      regex.append(character);
    }
  }
  return regex;
}

bool matchesRegex(const icu::UnicodeString& text, const icu::UnicodeString& pattern,
                  uint32_t flags) {
  // In units of 10,000 steps: a few milliseconds for each text, whatever the pattern.
  constexpr int32_t kTimeLimit = 10;
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher matcher(pattern, flags, status);
  if (U_FAILURE(status)) {
    return false;
  }
  matcher.reset(text);
  matcher.setTimeLimit(kTimeLimit, status);
  const bool whole = matcher.matches(status) != 0;
  return U_SUCCESS(status) && whole;
}

// Without options, byte by byte, which also works for malformed UTF-8.
bool plainMatches(TextOperation operation, std::string_view text, std::string_view pattern) {
  switch (operation) {
    case TextOperation::kEqual:
      return text == pattern;
    case TextOperation::kBeginsWith:
      return text.starts_with(pattern);
    case TextOperation::kEndsWith:
      return text.ends_with(pattern);
    default:
      return text.find(pattern) != std::string_view::npos;
  }
}

bool foldedMatches(TextOperation operation, const icu::UnicodeString& text,
                   const icu::UnicodeString& pattern) {
  switch (operation) {
    case TextOperation::kEqual:
      return text == pattern;
    case TextOperation::kBeginsWith:
      return text.startsWith(pattern) != 0;
    case TextOperation::kEndsWith:
      return text.endsWith(pattern) != 0;
    default:
      return pattern.isEmpty() || text.indexOf(pattern) >= 0;
  }
}

std::string_view textOf(sqlite3_value* value) {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return bytes == nullptr
             ? std::string_view()
             : std::string_view(bytes, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

void matchInSQL(sqlite3_context* context, int, sqlite3_value** values) {
  const bool isNil =
      sqlite3_value_type(values[2]) == SQLITE_NULL || sqlite3_value_type(values[3]) == SQLITE_NULL;
  const int bits = sqlite3_value_int(values[1]);
  const TextOptions options{(bits & kIgnoreCase) != 0, (bits & kIgnoreAccents) != 0};
  const auto operation = static_cast<TextOperation>(sqlite3_value_int(values[0]));
  const bool matches =
      !isNil && textMatches(operation, options, textOf(values[2]), textOf(values[3]));
  sqlite3_result_int(context, matches ? 1 : 0);
}

}  // namespace

bool textMatches(TextOperation operation, TextOptions options, std::string_view text,
                 std::string_view pattern) {
  if (operation == TextOperation::kLike) {
    return matchesRegex(folded(text, options), regexOfLike(folded(pattern, options)),
                        UREGEX_DOTALL);
  }
  if (operation == TextOperation::kMatches) {
    const uint32_t flags = options.ignoreCase ? UREGEX_CASE_INSENSITIVE : 0;
    const TextOptions accentsOnly{false, options.ignoreAccents};
    return matchesRegex(folded(text, accentsOnly), folded(pattern, accentsOnly), flags);
  }
  if (!options.ignoreCase && !options.ignoreAccents) {
    return plainMatches(operation, text, pattern);
  }
  return foldedMatches(operation, folded(text, options), folded(pattern, options));
}

void registerTextFunctions(SQLite::Database& database) {
  database.createFunction("_text_matches", 4, true, nullptr, matchInSQL);
}

int optionBits(TextOptions options) {
  return (options.ignoreCase ? kIgnoreCase : 0) | (options.ignoreAccents ? kIgnoreAccents : 0);
}

}  // namespace kelvora::engine
