#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/kelvora/Report.h"
#include "tools/kelvora/Screen.h"

namespace kelvora::tool {

/// A heading and lines such as "Level 2 cache     256 KB". A line without a value is left out.
class LineGroup {
 public:
  /// Without a heading when that is empty.
  explicit LineGroup(std::string heading = "") : heading_(std::move(heading)) {}

  /// A line; its texts may hold anything that a machine reports.
  void add(std::string_view name, std::string_view value, Tone tone = Tone::kPlain);
  /// The columns of the widest name.
  std::size_t nameWidth() const;
  /// The lines after the heading, each name in `nameWidth` columns; none without a line. A value
  /// that is too long for a terminal of `columns` is broken, and a heading or name is cut; 0 is no
  /// limit.
  Screen lines(std::size_t nameWidth, std::size_t columns = 0) const;

 private:
  struct Line {
    std::string name;
    std::string value;
    Tone tone;
  };

  std::string heading_;
  std::vector<Line> lines_;
};

/// The groups one below the other, each after an empty line, all with one column of names.
Screen linesOf(const std::vector<LineGroup>& groups, std::size_t columns);

/// The lines as a text, each with its end. Headings and faint texts have the emphasis of `style`.
std::string textOf(const Screen& lines, const Style& style);

}  // namespace kelvora::tool
