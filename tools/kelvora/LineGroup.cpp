#include "tools/kelvora/LineGroup.h"

#include <algorithm>
#include <iterator>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;
constexpr std::size_t kLeastValue = 12;
constexpr std::size_t kMostName = 32;

std::string emphasised(const Span& span, const Style& style) {
  switch (span.tone) {
    case Tone::kHeading:
      return style.heading(span.text);
    case Tone::kFaint:
      return style.faint(span.text);
    default:
      return span.text;
  }
}

// The columns of a terminal of `columns` from one on: at least one, and 0 is still no limit.
std::size_t columnsFrom(std::size_t start, std::size_t columns) {
  return columns == 0 ? 0 : std::max(columns, start + 1) - start;
}

// A text from a column on, cut where a terminal of `columns` ends.
std::string cut(const std::string& text, std::size_t start, std::size_t columns) {
  const bool fits = columns == 0 || start + displayWidth(text) <= columns;
  return fits ? text : fitted(text, std::max(columns, start) - start);
}

// Whether a value can be at the right of its name, which ends before `start`. Else it is below.
bool fits(const std::string& value, std::size_t start, std::size_t columns) {
  const auto isShort = [&](const std::string& part) {
    return start + displayWidth(part) <= columns;
  };
  return columns == 0 ||
         (start + kLeastValue <= columns &&
          std::ranges::all_of(wrapped(value, columnsFrom(start, columns)), isShort));
}

// Continues the last line with the first line of a value; the others are below.
void addValue(Screen& screen, const Span& value, std::size_t columns) {
  bool isFirst = true;
  for (const std::string& part : broken(value.text, columnsFrom(value.column, columns))) {
    if (!isFirst) {
      screen.emplace_back();
    }
    screen.back().push_back({value.column, part, value.tone});
    isFirst = false;
  }
}

std::string textOf(const ScreenLine& line, const Style& style) {
  std::string text;
  std::size_t column = 0;
  for (const Span& span : line) {
    text += std::string(std::max(span.column, column) - column, ' ') + emphasised(span, style);
    column = span.column + displayWidth(span.text);
  }
  return text + "\n";
}

}  // namespace

void LineGroup::add(std::string_view name, std::string_view value, Tone tone) {
  if (!value.empty()) {
    lines_.push_back({printable(name), printable(value), tone});
  }
}

std::size_t LineGroup::nameWidth() const {
  std::size_t width = 0;
  for (const Line& line : lines_) {
    width = std::max(width, displayWidth(line.name));
  }
  return width;
}

Screen LineGroup::lines(std::size_t nameWidth, std::size_t columns) const {
  Screen screen;
  if (!lines_.empty() && !heading_.empty()) {
    screen.push_back({{0, cut(printable(heading_), 0, columns), Tone::kHeading}});
  }
  for (const Line& line : lines_) {
    const std::size_t beside = kIndent + nameWidth + kGap;
    const bool isBeside = fits(line.value, beside, columns);
    screen.push_back(
        {{kIndent, isBeside ? fitted(line.name, nameWidth) : cut(line.name, kIndent, columns),
          Tone::kFaint}});
    if (!isBeside) {
      screen.emplace_back();
    }
    addValue(screen, {isBeside ? beside : 2 * kIndent, line.value, line.tone}, columns);
  }
  return screen;
}

Screen linesOf(const std::vector<LineGroup>& groups, std::size_t columns) {
  std::size_t nameWidth = 0;
  for (const LineGroup& group : groups) {
    nameWidth = std::max(nameWidth, group.nameWidth());
  }
  nameWidth = std::min(nameWidth, kMostName);
  Screen screen;
  for (const LineGroup& group : groups) {
    Screen lines = group.lines(nameWidth, columns);
    if (!lines.empty()) {
      screen.emplace_back();
      std::ranges::move(lines, std::back_inserter(screen));
    }
  }
  return screen;
}

std::string textOf(const Screen& lines, const Style& style) {
  std::string text;
  for (const ScreenLine& line : lines) {
    text += textOf(line, style);
  }
  return text;
}

}  // namespace kelvora::tool
