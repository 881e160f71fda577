#include "tools/kelvora/LineGroup.h"

#include <algorithm>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;
constexpr std::size_t kLeastValue = 12;
constexpr std::size_t kMostName = 32;

// The value at the right of its name, or below it where the terminal is too narrow for both.
std::string lineText(const std::string& name, std::size_t nameWidth, const std::string& value,
                     const Style& style, std::size_t columns) {
  const std::size_t start = kIndent + nameWidth + kGap;
  const bool fitsBeside = columns == 0 || start + kLeastValue <= columns;
  const std::string indent(fitsBeside ? start : 2 * kIndent, ' ');
  const std::size_t width = columns == 0 ? 0 : std::max(columns, indent.size() + 1) - indent.size();
  std::string text = std::string(kIndent, ' ') +
                     style.faint(fitsBeside ? fitted(name, nameWidth) : name) +
                     (fitsBeside ? std::string(kGap, ' ') : "\n" + indent);
  bool isFirst = true;
  for (const std::string& part : wrapped(value, width)) {
    text += (isFirst ? "" : "\n" + indent) + part;
    isFirst = false;
  }
  return text + "\n";
}

}  // namespace

void LineGroup::add(std::string_view name, std::string_view value) {
  if (!value.empty()) {
    lines_.push_back({printable(name), printable(value)});
  }
}

std::size_t LineGroup::nameWidth() const {
  std::size_t width = 0;
  for (const Line& line : lines_) {
    width = std::max(width, displayWidth(line.name));
  }
  return width;
}

std::string LineGroup::text(const Style& style, std::size_t nameWidth, std::size_t columns) const {
  std::string text =
      lines_.empty() || heading_.empty() ? "" : style.heading(printable(heading_)) + "\n";
  for (const Line& line : lines_) {
    text += lineText(line.name, nameWidth, line.value, style, columns);
  }
  return text;
}

std::string textOf(const std::vector<LineGroup>& groups, const Style& style, std::size_t columns) {
  std::size_t nameWidth = 0;
  for (const LineGroup& group : groups) {
    nameWidth = std::max(nameWidth, group.nameWidth());
  }
  nameWidth = std::min(nameWidth, kMostName);
  std::string text;
  for (const LineGroup& group : groups) {
    const std::string lines = group.text(style, nameWidth, columns);
    text += lines.empty() ? "" : "\n" + lines;
  }
  return text;
}

}  // namespace kelvora::tool
