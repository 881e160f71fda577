#include "tools/kelvora/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <locale>
#include <sstream>

#include <unicode/numberformatter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "KelvoraCore/KVExtension.h"

namespace kelvora::tool {

namespace {

std::size_t widthOf(UChar32 character) {
  const int category = u_charType(character);
  if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR) {
    return 0;
  }
  const int eastAsian = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
  return eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH ? 2 : 1;
}

icu::UnicodeString decoded(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

// Calls visit(character, its UTF-8) for each character until it returns false. A byte that is not
// UTF-8 comes as U+FFFD.
template <typename Visit>
void forEachCharacter(std::string_view text, Visit visit) {
  const icu::UnicodeString characters = decoded(text);
  for (std::int32_t i = 0; i < characters.length(); i = characters.moveIndex32(i, 1)) {
    const UChar32 character = characters.char32At(i);
    std::string bytes;
    if (!visit(character, icu::UnicodeString(character).toUTF8String(bytes))) {
      return;
    }
  }
}

// With as few digits as the number needs, e.g. "4.55E1", "1E-7".
std::string icuScientific(double number) {
  static const icu::number::LocalizedNumberFormatter formatter =
      icu::number::NumberFormatter::withLocale(icu::Locale::getRoot())
          .notation(icu::number::Notation::scientific())
          .precision(icu::number::Precision::unlimited());
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  formatter.formatDouble(number, status).toString(status).toUTF8String(text);
  return text;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  forEachCharacter(text, [&](UChar32 character, const std::string& bytes) {
    const int category = u_charType(character);
    const bool harmful = category == U_CONTROL_CHAR || category == U_FORMAT_CHAR ||
                         category == U_LINE_SEPARATOR || category == U_PARAGRAPH_SEPARATOR;
    result += harmful ? std::string("?") : bytes;
    return true;
  });
  return result;
}

bool isValidUTF8(std::string_view text) {
  std::string valid;
  return decoded(text).toUTF8String(valid) == text;
}

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  forEachCharacter(text, [&](UChar32 character, const std::string&) {
    width += widthOf(character);
    return true;
  });
  return width;
}

std::string fitted(std::string_view text, std::size_t width) {
  const std::size_t whole = displayWidth(text);
  if (whole <= width) {
    return std::string(text) + std::string(width - whole, ' ');
  }
  std::string result;
  std::size_t used = 1;  // the ellipsis
  forEachCharacter(text, [&](UChar32 character, const std::string& bytes) {
    if (used + widthOf(character) > width) {
      return false;
    }
    used += widthOf(character);
    result += bytes;
    return true;
  });
  return width == 0 ? std::string() : result + "…" + std::string(width - used, ' ');
}

std::string rightAligned(std::string_view text, std::size_t width) {
  const std::size_t whole = displayWidth(text);
  return std::string(whole < width ? width - whole : 0, ' ') + std::string(text);
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines(1);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' ', 1), text.size());
    const std::string_view word = text.substr(0, end);  // with the blank before it
    text.remove_prefix(end);
    const bool fits = width == 0 || displayWidth(lines.back() + std::string(word)) <= width;
    if (fits || lines.back().empty()) {
      lines.back() += word;
    } else {
      lines.emplace_back(word.substr(1));
    }
  }
  return lines;
}

std::vector<std::string> broken(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  for (const std::string& line : wrapped(text, width)) {
    std::size_t used = 0;
    lines.emplace_back();
    forEachCharacter(line, [&](UChar32 character, const std::string& bytes) {
      used += widthOf(character);
      if (width > 0 && used > width && !lines.back().empty()) {
        lines.emplace_back();
        used = widthOf(character);
      }
      lines.back() += bytes;
      return true;
    });
  }
  return lines;
}

std::string enumerated(std::span<const std::string> words, std::string_view last) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool isLast = i + 1 == words.size();
    text += i == 0 ? "" : isLast ? last : ", ";
    text += words[i];
  }
  return text;
}

std::string isoTime(std::chrono::system_clock::time_point time) {
  return KVExtension::dateFormatter().stringFromDate(time, "yyyy-MM-dd'T'HH:mm:ssxxx");
}

std::string fixedText(double number, int decimals) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream.precision(decimals);
  stream << std::fixed << number;
  return stream.str();
}

std::string shortestText(double number) {
  const std::string text = icuScientific(number);
  const std::size_t end = text.find('E');
  const std::string mantissa = text.substr(0, end);
  const std::size_t point = mantissa.find('.');
  const int mantissaDigits = point == std::string::npos ? 0 : static_cast<int>(end - point - 1);
  const int exponent = std::atoi(text.c_str() + end + 1);
  const std::string digits = std::to_string(std::abs(exponent));
  const std::string scientific =
      mantissa + (exponent < 0 ? "e-" : "e+") + (digits.size() < 2 ? "0" : "") + digits;
  std::string plain = fixedText(number, std::max(0, mantissaDigits - exponent));
  return plain.size() <= scientific.size() ? plain : scientific;
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], displayWidth(row[column]));
    }
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += (column == 0 ? "" : "  ") + fitted(row[column], widths[column]);
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace kelvora::tool
