#include "engine/PredicateLexer.h"

#include <array>
#include <charconv>
#include <locale>
#include <optional>
#include <sstream>

#include "KelvoraCore/Predicate.h"

namespace kelvora::engine {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isWordStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '#' || c == '@' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool isWordPart(char c) { return isWordStart(c) || isDigit(c) || c == '.'; }

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// Not std::from_chars, which the standard library of macOS lacks for floating-point numbers.
std::optional<double> decimalNumber(std::string_view digits) {
  std::istringstream stream{std::string(digits)};
  stream.imbue(std::locale::classic());
  double value = 0;
  stream >> value;
  return !stream.fail() && stream.peek() == std::istringstream::traits_type::eof()
             ? std::optional(value)
             : std::nullopt;
}

char unescaped(char c) {
  switch (c) {
    case 'n':
      return '\n';
    case 't':
      return '\t';
    case 'r':
      return '\r';
    default:
      return c;
  }
}

// Longest first.
constexpr std::array<std::string_view, 25> kSymbols{
    "&&", "||", "==", "!=", "<>", "<=", "=<", ">=", "=>", "=", "<", ">", "!",
    "&",  "|",  "(",  ")",  "{",  "}",  "[",  "]",  ",",  "-", "+", "*"};

}  // namespace

char PredicateLexer::peek(std::size_t ahead) const {
  return position_ + ahead < format_.size() ? format_[position_ + ahead] : '\0';
}

Token PredicateLexer::next() {
  while (position_ < format_.size() && isBlank(format_[position_])) {
    ++position_;
  }
  if (position_ == format_.size()) {
    return {TokenKind::kEnd, position_, {}, {}};
  }
  const char c = peek();
  if (c == '\'' || c == '"') {
    return text(c);
  }
  if (c == '%') {
    return placeholder();
  }
  if (isDigit(c) || (c == '.' && isDigit(peek(1)))) {
    return number();
  }
  return isWordStart(c) ? word() : symbol();
}

Token PredicateLexer::word() {
  const std::size_t start = position_;
  while (position_ < format_.size() && isWordPart(format_[position_])) {
    ++position_;
  }
  return {TokenKind::kWord, start, std::string(format_.substr(start, position_ - start)), {}};
}

Token PredicateLexer::number() {
  const std::size_t start = position_;
  bool whole = true;
  while (isDigit(peek()) || peek() == '.' ||
         ((peek() == 'e' || peek() == 'E') && !isWordStart(peek(1)))) {
    whole = whole && isDigit(peek());
    const bool exponent = peek() == 'e' || peek() == 'E';
    ++position_;
    if (exponent && (peek() == '-' || peek() == '+')) {
      ++position_;
    }
  }
  const std::string_view digits = format_.substr(start, position_ - start);
  std::int64_t integer = 0;
  if (whole &&
      std::from_chars(digits.data(), digits.data() + digits.size(), integer).ec == std::errc()) {
    return {TokenKind::kNumber, start, {}, integer};
  }
  const std::optional<double> decimal = decimalNumber(digits);
  if (!decimal) {
    throw PredicateError("not a number", start);
  }
  return {TokenKind::kNumber, start, {}, *decimal};
}

Token PredicateLexer::text(char quote) {
  const std::size_t start = position_++;
  std::string text;
  while (position_ < format_.size() && format_[position_] != quote) {
    char c = format_[position_++];
    if (c == '\\' && position_ < format_.size()) {
      c = unescaped(format_[position_++]);
    }
    text += c;
  }
  if (position_ == format_.size()) {
    throw PredicateError("the text has no end", start);
  }
  ++position_;
  return {TokenKind::kText, start, {}, text};
}

Token PredicateLexer::placeholder() {
  const std::size_t start = position_++;
  while (peek() == 'l' || peek() == 'h' || peek() == 'q') {
    ++position_;
  }
  switch (peek()) {
    case '@':
      ++position_;
      return {TokenKind::kPlaceholder, start, "@", {}};
    case 'K':
      ++position_;
      return {TokenKind::kPlaceholder, start, "K", {}};
    case 'd':
    case 'i':
    case 'u':
      ++position_;
      return {TokenKind::kPlaceholder, start, "d", {}};
    case 'f':
    case 'g':
      ++position_;
      return {TokenKind::kPlaceholder, start, "f", {}};
    default:
      throw PredicateError("unknown placeholder", start);
  }
}

Token PredicateLexer::symbol() {
  for (const std::string_view known : kSymbols) {
    if (format_.substr(position_).starts_with(known)) {
      const std::size_t start = position_;
      position_ += known.size();
      return {TokenKind::kSymbol, start, std::string(known), {}};
    }
  }
  throw PredicateError("unexpected character", position_);
}

}  // namespace kelvora::engine
