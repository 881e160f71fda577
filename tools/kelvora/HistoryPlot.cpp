#include "tools/kelvora/HistoryPlot.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVValueConverter.h"
#include "KelvoraCore/Sensor.h"

#include "tools/kelvora/SensorText.h"

namespace kelvora::tool {

namespace {

constexpr std::int64_t kFanPercentage = 1;

struct RangeRow {
  const char* key;
  const char* english;
  double usualStepSeconds;  ///< between two points, at the longest interval of the settings
};

const RangeRow& rowOf(std::int64_t timeRange) {
  static constexpr RangeRow kHour{"history-last-hour", "Last hour", 10};
  static constexpr RangeRow kDay{"history-last-day", "Last 24 hours", 60};
  static constexpr RangeRow kWeek{"history-last-week", "Last 7 days", 600};
  return timeRange == KVGraphTimeRangeHour  ? kHour
         : timeRange == KVGraphTimeRangeDay ? kDay
                                            : kWeek;
}

std::string pointText(const SensorHistory& history, double shown, KVSettings& settings) {
  return KVValueConverter::fullStringFromValue(shown, history.categoryType, false, settings);
}

std::string dateText(double seconds) {
  const std::chrono::duration<double> sinceEpoch(seconds);
  return KVExtension::dateTimeFormat(
      KVExtension::Date(std::chrono::floor<KVExtension::Date::duration>(sinceEpoch)));
}

std::vector<std::string> summaryOf(const SensorHistory& history, KVSettings& settings,
                                   const KVLocalized::Texts& texts) {
  const std::string last = localizedText("history-last", "Last", texts) + " ";
  if (!history.last()) {
    return history.older ? std::vector{last + pointText(history, history.older->shown, settings) +
                                       " (" + dateText(history.older->seconds) + ")"}
                         : std::vector<std::string>();
  }
  return {localizedText("history-minimum", "Minimum", texts) + " " +
              pointText(history, history.minimum()->shown, settings),
          localizedText("history-maximum", "Maximum", texts) + " " +
              pointText(history, history.maximum()->shown, settings),
          last + pointText(history, history.last()->shown, settings)};
}

// The least difference between two texts of values.
double leastStep(const SensorHistory& history, KVSettings& settings) {
  if (history.categoryType == SensorTypeTemperature) {
    return 1;
  }
  return history.categoryType == SensorTypeFan && settings.fanValueType() != kFanPercentage ? 1
                                                                                            : 0.01;
}

PlotValues valuesOf(const SensorHistory& history, KVSettings& settings) {
  // A reading is never below 0, and a label below 0 would be "-".
  PlotValues values{std::numeric_limits<double>::infinity(), 0, leastStep(history, settings)};
  const auto include = [&values](double value) {
    values.lowest = std::min(values.lowest, std::max(value, 0.0));
    values.highest = std::max(values.highest, value);
  };
  for (const HistoryPoint& point : history.points) {
    if (point.isReading()) {
      include(point.shown);
    }
  }
  const HistoryPoint lowest{.raw = std::max(history.graphMinValue, 0.0),
                            .shown = history.graphMinValue};
  const HistoryPoint highest{.raw = history.graphMaxValue, .shown = history.graphMaxValue};
  if (lowest.isReading() && highest.isReading() && lowest.shown < highest.shown) {
    include(lowest.shown);
    include(highest.shown);
  }
  values.lowest = std::min(values.lowest, values.highest);
  return values;
}

PlotAxis timeAxisOf(const SensorHistory& history) {
  PlotAxis axis{history.axis.front().time, history.axis.back().time, {}};
  for (const KVAxisTick& tick : history.axis) {
    axis.ticks.push_back({tick.time, tick.label});
  }
  return axis;
}

// Three steps of the recording: those of its settings, or longer ones if most are longer.
double longestPause(const SensorHistory& history) {
  constexpr std::size_t kEnough = 3;
  constexpr double kSteps = 3;
  std::vector<double> steps;
  for (std::size_t i = 1; i < history.points.size(); ++i) {
    steps.push_back(history.points[i].seconds - history.points[i - 1].seconds);
  }
  double step = rowOf(history.timeRange).usualStepSeconds;
  if (steps.size() >= kEnough) {
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::ranges::nth_element(steps, middle);
    step = std::max(step, *middle);
  }
  return kSteps * step;
}

std::vector<PlotPoint> plotPoints(const SensorHistory& history) {
  std::vector<PlotPoint> points;
  for (const HistoryPoint& point : history.points) {
    points.push_back({point.seconds,
                      point.isReading() ? point.shown : std::numeric_limits<double>::quiet_NaN()});
  }
  return points;
}

}  // namespace

Plot plotOfHistory(const SensorHistory& history, int mostSteps, KVSettings& settings,
                   const KVLocalized::Texts& texts) {
  const RangeRow& range = rowOf(history.timeRange);
  const auto label = [&](double value) { return pointText(history, value, settings); };
  return {.title = history.label,
          .range = localizedText(range.key, range.english, texts),
          .summary = summaryOf(history, settings, texts),
          .remark = localizedText("history-none", "No readings in this time", texts),
          .times = timeAxisOf(history),
          .values = valueAxis(valuesOf(history, settings), mostSteps, label),
          .points = plotPoints(history),
          .longestPauseSeconds = longestPause(history)};
}

}  // namespace kelvora::tool
