#include <algorithm>
#include <functional>

#include "KelvoraCore/KVGraphPoint.h"
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/KVUtils.h"

#include "presentation/FanPercentage.h"

namespace kelvora {

namespace {

std::vector<KVGraphPointPtr> seriesOf(const KVSensor& sensor, KVGraphTimeRange timeRange) {
  std::vector<KVGraphPointPtr> points = sensor.graphPoints();
  std::erase_if(points, [&](const auto& point) { return point->timeRange() != timeRange; });
  return points;
}

// The one value that `isBetter` than every other; `recorded` without points.
template <typename Better>
double extremeOf(const std::vector<KVGraphPointPtr>& points, double recorded, Better isBetter) {
  double extreme = points.empty() ? KVSensor::kNothingRecorded : points.front()->pointY();
  for (const KVGraphPointPtr& point : points) {
    extreme = isBetter(point->pointY(), extreme) ? point->pointY() : extreme;
  }
  return extreme == KVSensor::kNothingRecorded ? recorded : extreme;
}

}  // namespace

std::vector<KVGraphPointPtr> KVSensor::hourGraphPoints() const {
  return seriesOf(*this, KVGraphTimeRangeHour);
}

std::vector<KVGraphPointPtr> KVSensor::dayGraphPoints() const {
  return seriesOf(*this, KVGraphTimeRangeDay);
}

std::vector<KVGraphPointPtr> KVSensor::weekGraphPoints() const {
  return seriesOf(*this, KVGraphTimeRangeWeek);
}

double KVSensor::graphMinValue() const { return graphMinValue(settings()); }

double KVSensor::graphMinValue(KVSettings& settings) const {
  if (isShownAsPercentage(categoryType(), settings)) {
    return 0;
  }
  const double recorded = recordedMinValue();
  return inUnitOfUser(recorded == kNothingRecorded ? minValue() : std::min(recorded, minValue()),
                      settings);
}

double KVSensor::graphMaxValue() const { return graphMaxValue(settings()); }

double KVSensor::graphMaxValue(KVSettings& settings) const {
  return isShownAsPercentage(categoryType(), settings)
             ? 1
             : inUnitOfUser(std::max(maxValue(), recordedMaxValue()), settings);
}

double KVSensor::finalRecordedMaxValue() const {
  return extremeOf(graphPoints(), recordedMaxValue(), std::greater<>());
}

double KVSensor::finalRecordedMinValue() const {
  return extremeOf(graphPoints(), recordedMinValue(), std::less<>());
}

}  // namespace kelvora
