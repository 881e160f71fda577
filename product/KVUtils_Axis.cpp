#include <chrono>

#include "KelvoraCore/KVUtils.h"

namespace kelvora {

namespace {

struct AxisScale {
  std::chrono::seconds step;
  int steps;
};

constexpr AxisScale axisScaleOf(std::int64_t timeRange) {
  using std::chrono::hours;
  switch (timeRange) {
    case KVGraphTimeRangeHour:
      return {std::chrono::minutes(10), 6};
    case KVGraphTimeRangeDay:
      return {hours(4), 6};
    default:
      return {hours(24), 7};
  }
}

std::string axisLabel(KVExtension::Date date, std::int64_t timeRange) {
  const bool isTime = timeRange == KVGraphTimeRangeHour || timeRange == KVGraphTimeRangeDay;
  std::string text =
      isTime ? KVExtension::shortTimeOnlyFormat(date) : KVExtension::shortDateOnlyFormat(date);
  return text.empty() ? "--" : text;
}

}  // namespace

std::vector<KVAxisTick> KVUtils::xAxisWithCurrentDate(KVExtension::Date currentDate,
                                                      std::int64_t timeRange) {
  const AxisScale scale = axisScaleOf(timeRange);
  std::vector<KVAxisTick> ticks;
  for (int i = scale.steps; i >= 0; --i) {
    const KVExtension::Date date = currentDate - i * scale.step;
    const std::chrono::duration<double> sinceEpoch = date.time_since_epoch();
    ticks.push_back({sinceEpoch.count(), axisLabel(date, timeRange)});
  }
  return ticks;
}

}  // namespace kelvora
