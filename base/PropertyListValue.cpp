#include "KelvoraCore/PropertyListValue.h"

#include <algorithm>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>

namespace kelvora {

namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

bool isDigit(char character) { return character >= '0' && character <= '9'; }

std::string_view withoutLeadingBlanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text;
}

bool takeSign(std::string_view& text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  return isNegative;
}

std::size_t digitCount(std::string_view text) {
  std::size_t count = 0;
  while (count < text.size() && isDigit(text[count])) {
    ++count;
  }
  return count;
}

std::int64_t saturated(double value) {
  // 2^63 is exact as a double, the largest std::int64_t is not.
  constexpr double kBound = 9223372036854775808.0;
  if (value >= kBound) {
    return std::numeric_limits<std::int64_t>::max();
  }
  if (value < -kBound) {
    return std::numeric_limits<std::int64_t>::min();
  }
  return value == value ? static_cast<std::int64_t>(value) : 0;
}

std::int64_t leadingInteger(std::string_view text) {
  using Limits = std::numeric_limits<std::int64_t>;
  text = withoutLeadingBlanks(text);
  const bool isNegative = takeSign(text);
  std::int64_t value = 0;
  for (const char character : text.substr(0, digitCount(text))) {
    const std::int64_t digit = character - '0';
    if (value < (Limits::min() + digit) / 10) {
      return isNegative ? Limits::min() : Limits::max();
    }
    value = value * 10 - digit;
  }
  if (isNegative) {
    return value;
  }
  return value == Limits::min() ? Limits::max() : -value;
}

// The extent of a decimal number at the start of `text`, which has neither blanks nor sign: digits,
// a point, digits, an exponent. Hexadecimal numbers and "inf" are no decimal numbers.
std::size_t decimalExtent(std::string_view text) {
  std::size_t end = digitCount(text);
  std::size_t digits = end;
  if (end < text.size() && text[end] == '.') {
    const std::size_t fraction = digitCount(text.substr(end + 1));
    digits += fraction;
    end += 1 + fraction;
  }
  if (digits == 0) {
    return 0;
  }
  if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
    std::string_view exponent = text.substr(end + 1);
    takeSign(exponent);
    if (const std::size_t count = digitCount(exponent); count > 0) {
      end = static_cast<std::size_t>(exponent.data() - text.data()) + count;
    }
  }
  return end;
}

// The value of a decimal number, in whatever locale the program runs. A number that is too large
// is infinite; the stream alone would give the largest finite one.
double decimalValue(std::string_view number) {
  using Limits = std::numeric_limits<double>;
  std::istringstream stream{std::string(number)};
  stream.imbue(std::locale::classic());
  double value = 0;
  stream >> value;
  return stream.fail() && value == Limits::max() ? Limits::infinity() : value;
}

double leadingDouble(std::string_view text) {
  text = withoutLeadingBlanks(text);
  const bool isNegative = takeSign(text);
  const double value = decimalValue(text.substr(0, decimalExtent(text)));
  return isNegative ? -value : value;
}

bool leadingTruth(std::string_view text) {
  text = withoutLeadingBlanks(text);
  takeSign(text);
  const std::size_t first = text.find_first_not_of('0');
  if (first == std::string_view::npos) {
    return false;
  }
  const char character = text[first];
  return isDigit(character) || std::string_view("YyTt").find(character) != std::string_view::npos;
}

}  // namespace

std::int64_t PropertyListValue::integerValue() const {
  if (const auto* truth = as<bool>()) {
    return *truth ? 1 : 0;
  }
  if (const auto* integer = as<std::int64_t>()) {
    return *integer;
  }
  if (const auto* number = as<double>()) {
    return saturated(*number);
  }
  if (const auto* text = as<std::string>()) {
    return leadingInteger(*text);
  }
  return 0;
}

double PropertyListValue::doubleValue() const {
  if (const auto* truth = as<bool>()) {
    return *truth ? 1 : 0;
  }
  if (const auto* integer = as<std::int64_t>()) {
    return static_cast<double>(*integer);
  }
  if (const auto* number = as<double>()) {
    return *number;
  }
  if (const auto* text = as<std::string>()) {
    return leadingDouble(*text);
  }
  return 0;
}

bool PropertyListValue::boolValue() const {
  if (const auto* truth = as<bool>()) {
    return *truth;
  }
  if (const auto* integer = as<std::int64_t>()) {
    return *integer != 0;
  }
  if (const auto* number = as<double>()) {
    return *number != 0;
  }
  if (const auto* text = as<std::string>()) {
    return leadingTruth(*text);
  }
  return false;
}

}  // namespace kelvora
