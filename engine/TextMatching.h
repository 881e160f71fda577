#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace SQLite {
class Database;
}

namespace kelvora::engine {

enum class TextOperation : std::uint8_t {
  kEqual,
  kBeginsWith,
  kEndsWith,
  kContains,
  kLike,     ///< the whole text; * any run of characters, ? any one
  kMatches,  ///< the whole text against a regular expression
};

struct TextOptions {
  bool ignoreCase = false;
  bool ignoreAccents = false;
};

/// Compares two UTF-8 texts. A malformed regular expression matches nothing. Any thread.
bool textMatches(TextOperation operation, TextOptions options, std::string_view text,
                 std::string_view pattern);

/// Makes the comparison available to SQL as _text_matches(operation, options, text, pattern), so
/// that stored rows and objects in memory are judged by the same code. 0 when a text is NULL.
void registerTextFunctions(SQLite::Database& database);

/// The options as SQL passes them: 1 case, 2 accents.
int optionBits(TextOptions options);

}  // namespace kelvora::engine
