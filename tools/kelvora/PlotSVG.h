#pragma once

#include <string>

#include "tools/kelvora/Plot.h"

namespace kelvora::tool {

/// Steps of the value axis that have space in the picture.
inline constexpr int kMostStepsOfSVG = 6;

/// The plot as a self-contained SVG document of 860 by 420, in UTF-8. It follows the viewer's
/// colour scheme, light or dark, and gives its title and its summary to programs that read aloud.
/// Any text may be in the plot: what XML cannot hold is replaced.
std::string svgOfPlot(const Plot& plot);

}  // namespace kelvora::tool
