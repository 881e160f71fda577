#include "tools/kelvora/PlotCanvas.h"

#include <array>
#include <cstdlib>

namespace kelvora::tool {

namespace {

// Unicode numbers the dots of a Braille sign column by column, except those of the lowest row,
// which were added later.
std::string brailleCell(unsigned dots) {
  constexpr std::array<unsigned, 8> kBits{0x01, 0x02, 0x04, 0x40, 0x08, 0x10, 0x20, 0x80};
  if (dots == 0) {
    return " ";  // the empty sign shows circles in some fonts
  }
  unsigned pattern = 0;
  for (std::size_t i = 0; i < kBits.size(); ++i) {
    pattern |= (dots >> i & 1U) != 0 ? kBits.at(i) : 0;
  }
  // U+2800 and the pattern in UTF-8.
  return {static_cast<char>(0xE2), static_cast<char>(0xA0 | pattern >> 6U),
          static_cast<char>(0x80 | (pattern & 0x3FU))};
}

std::string asciiCell(unsigned dots) {
  constexpr const char* kCells[] = {" ", "'", "-", "|", ".", ":", "|", "|"};
  return kCells[dots];
}

}  // namespace

const PlotCanvas::Signs& PlotCanvas::braille() {
  static const Signs signs{2, 4, "│", "┤", "─", "┬", "└", brailleCell};
  return signs;
}

const PlotCanvas::Signs& PlotCanvas::ascii() {
  static const Signs signs{1, 3, "|", "+", "-", "+", "+", asciiCell};
  return signs;
}

PlotCanvas::PlotCanvas(std::size_t columns, std::size_t rows, const Signs& signs)
    : columns_(columns), rows_(rows), signs_(signs), cells_(columns * rows) {}

void PlotCanvas::set(std::ptrdiff_t x, std::ptrdiff_t y) {
  const auto column = static_cast<std::size_t>(x);
  const auto row = static_cast<std::size_t>(y);
  cells_[row / signs_.down * columns_ + column / signs_.across] |=
      1U << (column % signs_.across * signs_.down + row % signs_.down);
}

// Bresenham's algorithm.
void PlotCanvas::line(std::ptrdiff_t x0, std::ptrdiff_t y0, std::ptrdiff_t x1, std::ptrdiff_t y1) {
  const std::ptrdiff_t width = std::abs(x1 - x0);
  const std::ptrdiff_t height = std::abs(y1 - y0);
  std::ptrdiff_t error = width - height;
  set(x0, y0);
  while (x0 != x1 || y0 != y1) {
    const std::ptrdiff_t doubled = 2 * error;
    if (doubled > -height) {
      error -= height;
      x0 += x0 < x1 ? 1 : -1;
    }
    if (doubled < width) {
      error += width;
      y0 += y0 < y1 ? 1 : -1;
    }
    set(x0, y0);
  }
}

std::string PlotCanvas::row(std::size_t index) const {
  std::string signs;
  for (std::size_t column = 0; column < columns_; ++column) {
    signs += signs_.cell(cells_[index * columns_ + column]);
  }
  return signs.substr(0, signs.find_last_not_of(' ') + 1);
}

}  // namespace kelvora::tool
