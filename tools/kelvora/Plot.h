#pragma once

#include <span>
#include <string>
#include <vector>

#include "tools/kelvora/PlotAxis.h"

namespace kelvora::tool {

/// A reading of a plot. `value` is in the unit of the plot's axis; one that is not finite means
/// that there was no reading then.
struct PlotPoint {
  double seconds = 0;  ///< since 1970
  double value = 0;
};

/// Everything that a drawing shows, as text or as SVG.
struct Plot {
  std::string title;                 ///< "CPU Proximity Temperature (TC0P)"
  std::string range;                 ///< "Last 24 hours"
  std::vector<std::string> summary;  ///< "Minimum 41°C", "Maximum 78°C", "Last 52°C"
  std::string remark;                ///< what to show where there is no curve: "No readings"
  PlotAxis times;                    ///< in seconds since 1970
  PlotAxis values;                   ///< in the unit of the points
  std::vector<PlotPoint> points;     ///< by time, each between the ends of both axes
  double longestPauseSeconds = 0;    ///< between two points of one recording
};

/// The points as pieces of curve: what follows a longer pause, or no reading, begins a new one.
/// None is empty. The pieces refer to the plot's points.
std::vector<std::span<const PlotPoint>> piecesOfCurve(const Plot& plot);

}  // namespace kelvora::tool
