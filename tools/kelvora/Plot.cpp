#include "tools/kelvora/Plot.h"

#include <cmath>
#include <cstddef>

namespace kelvora::tool {

std::vector<std::span<const PlotPoint>> piecesOfCurve(const Plot& plot) {
  std::vector<std::span<const PlotPoint>> pieces;
  const std::span<const PlotPoint> points(plot.points);
  std::size_t start = 0;
  for (std::size_t i = 0; i <= points.size(); ++i) {
    const bool isReading = i < points.size() && std::isfinite(points[i].value);
    const bool goesOn = isReading && (i == start || points[i].seconds - points[i - 1].seconds <=
                                                        plot.longestPauseSeconds);
    if (goesOn) {
      continue;
    }
    if (i > start) {
      pieces.push_back(points.subspan(start, i - start));
    }
    start = isReading ? i : i + 1;
  }
  return pieces;
}

}  // namespace kelvora::tool
