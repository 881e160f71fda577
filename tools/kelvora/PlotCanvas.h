#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kelvora::tool {

/// Dots that a text can show: each character cell has a few of them.
class PlotCanvas {
 public:
  /// The signs of a drawing, and how many dots one of them shows.
  struct Signs {
    std::size_t across;      ///< dots of a cell from left to right
    std::size_t down;        ///< dots of a cell from top to bottom
    const char* vertical;    ///< the value axis: "│"
    const char* tick;        ///< at a tick of the value axis: "┤"
    const char* horizontal;  ///< the time axis: "─"
    const char* timeTick;    ///< at a tick of the time axis: "┬"
    const char* corner;      ///< where the axes meet: "└"
    /// The sign of a cell. Bit number `x * down + y` says whether the dot in column x, row y is
    /// set.
    std::string (*cell)(unsigned dots);
  };

  /// Braille, which has 2 by 4 dots.
  static const Signs& braille();
  /// ASCII: 1 by 3 dots, e.g. "." for the lowest one.
  static const Signs& ascii();

  PlotCanvas(std::size_t columns, std::size_t rows, const Signs& signs);

  std::size_t dotsAcross() const { return columns_ * signs_.across; }
  std::size_t dotsDown() const { return rows_ * signs_.down; }

  /// Sets the dots of a straight line. Both ends are on the canvas; (0, 0) is at the top left.
  void line(std::ptrdiff_t x0, std::ptrdiff_t y0, std::ptrdiff_t x1, std::ptrdiff_t y1);

  /// The signs of a row of cells, without blanks at its end.
  std::string row(std::size_t index) const;

 private:
  void set(std::ptrdiff_t x, std::ptrdiff_t y);

  std::size_t columns_;
  std::size_t rows_;
  const Signs& signs_;
  std::vector<unsigned> cells_;
};

}  // namespace kelvora::tool
