#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kelvora/Report.h"

namespace kelvora::tool {

/// A heading and lines such as "Level 2 cache     256 KB". A line without a value is left out.
class LineGroup {
 public:
  /// Without a heading when that is empty.
  explicit LineGroup(std::string heading = "") : heading_(std::move(heading)) {}

  /// A line; its texts may hold anything that a machine reports.
  void add(std::string_view name, std::string_view value);
  /// The columns of the widest name.
  std::size_t nameWidth() const;
  /// The lines after the heading, each name in `nameWidth` columns; empty without a line. A value
  /// that is too long for a terminal of `columns` is broken at its blanks; 0 is no limit.
  std::string text(const Style& style, std::size_t nameWidth, std::size_t columns = 0) const;

 private:
  struct Line {
    std::string name;
    std::string value;
  };

  std::string heading_;
  std::vector<Line> lines_;
};

/// The groups one below the other, each after an empty line, all with one column of names.
std::string textOf(const std::vector<LineGroup>& groups, const Style& style, std::size_t columns);

}  // namespace kelvora::tool
