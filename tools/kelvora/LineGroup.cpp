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

// A value is at the right of its name, or below it where the terminal is too narrow for both.
Screen LineGroup::lines(std::size_t nameWidth, std::size_t columns) const {
  Screen screen;
  if (!lines_.empty() && !heading_.empty()) {
    screen.push_back({{0, printable(heading_), Tone::kHeading}});
  }
  const std::size_t beside = kIndent + nameWidth + kGap;
  const bool isBeside = columns == 0 || beside + kLeastValue <= columns;
  const std::size_t start = isBeside ? beside : 2 * kIndent;
  const std::size_t width = columns == 0 ? 0 : std::max(columns, start + 1) - start;
  for (const Line& line : lines_) {
    screen.push_back(
        {{kIndent, isBeside ? fitted(line.name, nameWidth) : line.name, Tone::kFaint}});
    bool isOnLineOfName = isBeside;
    for (const std::string& part : wrapped(line.value, width)) {
      if (!isOnLineOfName) {
        screen.emplace_back();
      }
      screen.back().push_back({start, part, line.tone});
      isOnLineOfName = false;
    }
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
