#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kelvora::tool {

/// A place on an axis with its text, e.g. {60, "60°C"}.
struct PlotTick {
  double position = 0;
  std::string label;
};

/// One direction of a plot: its ends, and ticks from the first to the last.
struct PlotAxis {
  double first = 0;
  double last = 1;
  std::vector<PlotTick> ticks;

  /// Where a position is on the axis: 0 at its first end, 1 at its last. Positions beyond an end
  /// are at that end.
  double fraction(double position) const;
};

/// Which values an axis shows, and how fine its ticks may be.
struct PlotValues {
  double lowest = 0;
  double highest = 0;
  double leastStep = 1;  ///< the least difference that the labels show, e.g. 1 for whole degrees
};

/// An axis that starts and ends at a tick and contains the values. Ticks are at round numbers:
/// multiples of 1, 2 or 5 times a power of ten, with at most `mostSteps` steps (at least 2) between
/// them. E.g. values from 41.5 to 77 in at most 5 steps: 40, 50, 60, 70, 80. A single value that is
/// a tick itself gets one above it, and one below it unless it is 0. The values must be below 1e12.
PlotAxis valueAxis(const PlotValues& values, int mostSteps,
                   const std::function<std::string(double)>& label);

}  // namespace kelvora::tool
