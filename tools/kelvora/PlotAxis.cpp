#include "tools/kelvora/PlotAxis.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kelvora::tool {

namespace {

// Round numbers in ascending order: …, 0.5, 1, 2, 5, 10, 20, …; that of index 0 is 1.
double roundNumber(int index) {
  constexpr std::array<double, 3> kMultiples{1, 2, 5};
  const int count = static_cast<int>(kMultiples.size());
  const int exponent = static_cast<int>(std::floor(static_cast<double>(index) / count));
  return kMultiples.at(static_cast<std::size_t>(index - exponent * count)) * std::pow(10, exponent);
}

/// The whole numbers of steps between which the values are.
struct Steps {
  Steps(const PlotValues& values, double stepSize)
      : size(stepSize),
        first(std::floor(values.lowest / size)),
        last(std::ceil(values.highest / size)) {
    if (first == last) {
      first -= first > 0 ? 1 : 0;
      ++last;
    }
  }
  double size;
  double first;
  double last;
};

Steps fittingSteps(const PlotValues& values, int mostSteps) {
  int index = static_cast<int>(std::floor(3 * std::log10(values.leastStep))) - 1;
  while (roundNumber(index) < values.leastStep) {
    ++index;
  }
  Steps steps(values, roundNumber(index));
  while (steps.last - steps.first > mostSteps) {
    steps = Steps(values, roundNumber(++index));
  }
  return steps;
}

}  // namespace

double PlotAxis::fraction(double position) const {
  return std::clamp((position - first) / (last - first), 0.0, 1.0);
}

PlotAxis valueAxis(const PlotValues& values, int mostSteps,
                   const std::function<std::string(double)>& label) {
  const Steps steps = fittingSteps(values, std::max(mostSteps, 2));
  PlotAxis axis{steps.first * steps.size, steps.last * steps.size, {}};
  const int count = static_cast<int>(steps.last - steps.first);
  for (int i = 0; i <= count; ++i) {
    const double position = (steps.first + i) * steps.size;
    axis.ticks.push_back({position, label(position)});
  }
  return axis;
}

}  // namespace kelvora::tool
