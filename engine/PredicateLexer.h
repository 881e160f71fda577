#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "KelvoraCore/ManagedValue.h"

namespace kelvora::engine {

enum class TokenKind : std::uint8_t {
  kEnd,
  kWord,  ///< a key path or a keyword
  kNumber,
  kText,
  kPlaceholder,  ///< text is "@", "d", "f" or "K"
  kSymbol,       ///< an operator or a bracket, e.g. "<="
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::size_t position = 0;
  std::string text;
  ManagedValue value;  ///< of a number or a text
};

/// Cuts a predicate's format text into tokens; throws PredicateError.
class PredicateLexer {
 public:
  explicit PredicateLexer(std::string_view format) : format_(format) {}
  Token next();

 private:
  Token word();
  Token number();
  Token text(char quote);
  Token placeholder();
  Token symbol();
  char peek(std::size_t ahead = 0) const;

  std::string_view format_;
  std::size_t position_ = 0;
};

}  // namespace kelvora::engine
