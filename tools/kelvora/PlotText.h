#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/kelvora/Plot.h"
#include "tools/kelvora/PlotCanvas.h"

namespace kelvora::tool {

/// A line of a plot in text. A host may show the parts in different colours.
struct PlotLine {
  std::string axis;   ///< value label and axis: " 60°C ┤"
  std::string curve;  ///< the signs of the curve; empty for the lines below it
  friend bool operator==(const PlotLine&, const PlotLine&) = default;
};

/// How many rows of curve go with a width: 8 for 40 columns, 13 for 80, 20 at most.
std::size_t rowsOfPlot(std::size_t columns);

/// How many steps the value axis of so many rows may have, so that its labels have space.
int mostStepsOfPlot(std::size_t rows);

/// The curve with its axes in lines of at most `columns` columns; title and summary are not part of
/// it. Where several points share a column, it shows everything from the lowest to the highest. A
/// terminal that is too narrow for a curve of 10 columns gets one nevertheless.
std::vector<PlotLine> plotLines(const Plot& plot, std::size_t columns, std::size_t rows,
                                const PlotCanvas::Signs& signs);

}  // namespace kelvora::tool
