#include "tools/kelvora/SensorHistory.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "KelvoraCore/Predicate.h"

namespace kelvora::tool {

namespace {

// Far beyond any fan, which turns fastest of all that is measured.
constexpr double kBeyondMeasure = 1e9;

// Seconds from 1970 to the last year that a date holds on every system, and back.
constexpr double kLatestDate = 9.2e9;

std::vector<KVGraphPointPtr> seriesOf(const KVSensor& sensor, std::int64_t timeRange) {
  switch (timeRange) {
    case KVGraphTimeRangeHour:
      return sensor.hourGraphPoints();
    case KVGraphTimeRangeDay:
      return sensor.dayGraphPoints();
    default:
      return sensor.weekGraphPoints();
  }
}

// By time: the stored order is that in which the points were added.
std::vector<HistoryPoint> pointsOf(const KVSensor& sensor, std::int64_t timeRange,
                                   KVSettings& settings) {
  std::vector<HistoryPoint> points;
  for (const KVGraphPointPtr& point : seriesOf(sensor, timeRange)) {
    if (std::abs(point->pointX()) < kLatestDate) {
      points.push_back({point->pointX(), point->pointY(), point->convertedPointY(settings)});
    }
  }
  std::ranges::stable_sort(points, {}, &HistoryPoint::seconds);
  return points;
}

std::vector<HistoryPoint> readingsOf(const std::vector<HistoryPoint>& points) {
  std::vector<HistoryPoint> readings;
  std::ranges::copy_if(points, std::back_inserter(readings), &HistoryPoint::isReading);
  return readings;
}

std::optional<HistoryPoint> lastReading(const std::vector<HistoryPoint>& points) {
  const std::vector<HistoryPoint> readings = readingsOf(points);
  return readings.empty() ? std::nullopt : std::optional(readings.back());
}

// Keeps the points from the first to the last tick of the axis.
void limitToAxis(SensorHistory& history) {
  auto& points = history.points;
  const auto begin =
      std::ranges::lower_bound(points, history.axis.front().time, {}, &HistoryPoint::seconds);
  const auto end =
      std::ranges::upper_bound(points, history.axis.back().time, {}, &HistoryPoint::seconds);
  history.older = lastReading({points.begin(), begin});
  history.points = std::vector<HistoryPoint>(begin, end);
}

}  // namespace

bool HistoryPoint::isReading() const {
  return std::isfinite(shown) && raw >= 0 && raw < kBeyondMeasure;
}

std::optional<HistoryPoint> SensorHistory::minimum() const {
  const std::vector<HistoryPoint> readings = readingsOf(points);
  const auto least = std::ranges::min_element(readings, {}, &HistoryPoint::raw);
  return least == readings.end() ? std::nullopt : std::optional(*least);
}

std::optional<HistoryPoint> SensorHistory::maximum() const {
  const std::vector<HistoryPoint> readings = readingsOf(points);
  const auto most = std::ranges::max_element(readings, {}, &HistoryPoint::raw);
  return most == readings.end() ? std::nullopt : std::optional(*most);
}

std::optional<HistoryPoint> SensorHistory::last() const { return lastReading(points); }

SensorHistory sensorHistory(const KVSensor& sensor, std::int64_t timeRange, KVExtension::Date now,
                            KVSettings& settings, const KVLocalized::Texts& texts) {
  // Held, so that each point finds it in memory instead of reading it again.
  const KVCategoryPtr category = sensor.category();
  SensorHistory history;
  history.key = sensor.key();
  history.name = sensor.name();
  history.fullName = sensor.fullName();
  history.label = sensor.sensorDescription(texts);
  history.categoryType = sensor.categoryType();
  history.graphMinValue = sensor.graphMinValue(settings);
  history.graphMaxValue = sensor.graphMaxValue(settings);
  history.timeRange = timeRange;
  history.axis = KVUtils::xAxisWithCurrentDate(now, timeRange);
  history.points = pointsOf(sensor, timeRange, settings);
  limitToAxis(history);
  return history;
}

KVCoreDataStore::Sensors sensorsWithHistory(KVCoreDataStore& store) {
  auto sensors = store.allSensors();
  if (sensors) {
    std::erase_if(*sensors, [&](const KVSensorPtr& sensor) {
      return store.viewContext()->objectOf(KVGraphPoint::kEntityName,
                                           Predicate("sensor = %@", {sensor})) == nullptr;
    });
  }
  return sensors;
}

}  // namespace kelvora::tool
