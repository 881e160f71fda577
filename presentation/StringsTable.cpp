#include "presentation/StringsTable.h"

#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include "KelvoraCore/PropertyListValue.h"

#include "base/PropertyListFile.h"

namespace kelvora {

namespace {

// Reads entries in order and stops at the first error.
class Parser {
 public:
  explicit Parser(icu::UnicodeString text) : text_(std::move(text)) {}

  StringsTableReading parse() {
    skipBlanks();
    const bool braces = take(u'{');
    while (failure_.empty() && !atEnd() && !(braces && peek() == u'}')) {
      readEntry();
    }
    if (braces && failure_.empty() && !take(u'}')) {
      fail("'}' expected");
    }
    skipBlanks();
    if (failure_.empty() && !atEnd()) {
      fail("nothing more expected");
    }
    if (!failure_.empty()) {
      return {std::nullopt, failure_};
    }
    return {std::move(table_), {}};
  }

 private:
  bool atEnd() const { return at_ >= text_.length(); }
  char16_t peek() const { return atEnd() ? u'\0' : text_.charAt(at_); }
  char16_t next() { return text_.charAt(at_++); }

  void fail(const char* what) {
    if (failure_.empty()) {
      int line = 1;
      for (std::int32_t at = 0; at < at_; ++at) {
        line += text_.charAt(at) == u'\n' ? 1 : 0;
      }
      failure_ = "line " + std::to_string(line) + ": " + what;
    }
  }

  bool startsWith(const char16_t* token) const {
    return text_.compare(at_, 2, icu::UnicodeString(token)) == 0;
  }

  void skipBlanks() {
    while (true) {
      if (u_isUWhiteSpace(peek()) || peek() == 0xFEFF) {
        ++at_;
      } else if (startsWith(u"//")) {
        const std::int32_t end = text_.indexOf(u'\n', at_);
        at_ = end < 0 ? text_.length() : end;
      } else if (startsWith(u"/*")) {
        const std::int32_t end = text_.indexOf(u"*/", 2, at_ + 2);
        if (end < 0) {
          fail("a comment does not end");
        }
        at_ = end < 0 ? text_.length() : end + 2;
      } else {
        return;
      }
    }
  }

  bool take(char16_t token) {
    if (peek() != token || atEnd()) {
      return false;
    }
    ++at_;
    skipBlanks();
    return true;
  }

  void readEntry() {
    const icu::UnicodeString key = readText();
    icu::UnicodeString value = key;
    if (take(u'=')) {
      value = readText();
    }
    if (failure_.empty() && !take(u';')) {
      fail("';' expected");
    }
    if (failure_.empty()) {
      std::string name;
      std::string text;
      table_.insert_or_assign(key.toUTF8String(name), value.toUTF8String(text));
    }
  }

  icu::UnicodeString readText() {
    const char16_t first = peek();
    icu::UnicodeString text = first == u'"' || first == u'\'' ? readQuoted() : readWord();
    skipBlanks();
    return text;
  }

  icu::UnicodeString readQuoted() {
    const char16_t quote = next();
    icu::UnicodeString text;
    while (!atEnd()) {
      const char16_t unit = next();
      if (unit == quote) {
        return text;
      }
      text.append(unit == u'\\' ? readEscape() : unit);
    }
    fail("a text does not end");
    return text;
  }

  static bool isWordUnit(char16_t unit) {
    return unit < 0x80 && (u_isalnum(unit) ||
                           std::u16string_view(u"_$/:.-").find(unit) != std::u16string_view::npos);
  }

  icu::UnicodeString readWord() {
    const std::int32_t start = at_;
    while (!atEnd() && isWordUnit(peek())) {
      ++at_;
    }
    if (at_ == start) {
      fail("a text expected");
    }
    return {text_, start, at_ - start};
  }

  // Up to `most` digits of a base, as a UTF-16 unit.
  char16_t readNumber(int most, std::int8_t base) {
    unsigned number = 0;
    for (int digit = 0; digit < most && !atEnd() && u_digit(peek(), base) >= 0; ++digit) {
      number = number * static_cast<unsigned>(base) + static_cast<unsigned>(u_digit(next(), base));
    }
    return static_cast<char16_t>(number);
  }

  char16_t readEscape() {
    static constexpr std::u16string_view kNames = u"abfnrtv";
    static constexpr std::u16string_view kUnits = u"\a\b\f\n\r\t\v";
    if (atEnd()) {
      return u'\\';
    }
    if (peek() >= u'0' && peek() <= u'7') {
      return readNumber(3, 8);
    }
    const char16_t unit = next();
    if (unit == u'U' || unit == u'u') {
      return readNumber(4, 16);
    }
    const std::size_t name = kNames.find(unit);
    return name == std::u16string_view::npos ? unit : kUnits[name];
  }

  icu::UnicodeString text_;
  std::int32_t at_ = 0;
  StringsTable table_;
  std::string failure_;
};

// Without a byte-order mark, a zero byte beside the first character means UTF-16.
const char* encodingOf(std::span<const std::byte> bytes) {
  const auto byte = [&](std::size_t at) {
    return at < bytes.size() ? std::to_integer<int>(bytes[at]) : -1;
  };
  if ((byte(0) == 0xFE && byte(1) == 0xFF) || byte(0) == 0) {
    return "UTF-16BE";
  }
  if ((byte(0) == 0xFF && byte(1) == 0xFE) || byte(1) == 0) {
    return "UTF-16LE";
  }
  return "UTF-8";
}

StringsTableReading tableOfPropertyList(std::span<const std::byte> bytes) {
  const PropertyListReading reading = parsePropertyList(bytes);
  const auto* values = reading.value ? reading.value->as<PropertyListValue::Dictionary>() : nullptr;
  if (values == nullptr) {
    return {std::nullopt, reading.value ? "not a dictionary" : reading.failure};
  }
  StringsTable table;
  for (const auto& [key, value] : *values) {
    if (const auto* text = value.as<std::string>()) {
      table.emplace(key, *text);
    }
  }
  return {std::move(table), {}};
}

bool isPropertyList(std::string_view text) {
  return text.starts_with("bplist") || text.starts_with("<?xml") || text.starts_with("<plist");
}

}  // namespace

StringsTableReading parseStringsTable(std::span<const std::byte> bytes) {
  if (bytes.size() > std::numeric_limits<std::int32_t>::max() / 2) {
    return {std::nullopt, "too large"};
  }
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (isPropertyList(text)) {
    return tableOfPropertyList(bytes);
  }
  return Parser(icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size()),
                                   encodingOf(bytes)))
      .parse();
}

}  // namespace kelvora
