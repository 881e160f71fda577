#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/KVUtils.h"

namespace kelvora::tool {

/// A point of a sensor's history. A value that is not finite, below 0 or beyond anything that a
/// sensor measures means that there was no reading.
struct HistoryPoint {
  double seconds = 0;  ///< since 1970
  double raw = 0;      ///< in degrees Celsius, rpm, V, A or W
  double shown = 0;    ///< in the user's unit
  bool isReading() const;
};

/// One series of a sensor's history, with what the user sees of the sensor.
struct SensorHistory {
  std::string key;
  std::string name;
  std::string fullName;
  std::string label;               ///< in the user's language: "Temperatur CPU Proximity (TC0P)"
  std::uint32_t categoryType = 0;  ///< a SensorType; KVSensor::kNoCategoryType without one
  double graphMinValue = 0;        ///< the sensor's range in the user's unit
  double graphMaxValue = 0;
  std::int64_t timeRange = 0;         ///< 0 hour, 1 day, 2 week
  std::vector<KVAxisTick> axis;       ///< of the time that is shown, its ends included
  std::vector<HistoryPoint> points;   ///< those in that time, by time
  std::optional<HistoryPoint> older;  ///< the last reading before that time

  /// Of the readings among the points, by raw value; none without one.
  std::optional<HistoryPoint> minimum() const;
  std::optional<HistoryPoint> maximum() const;
  std::optional<HistoryPoint> last() const;
};

/// The series of a stored sensor for the time up to `now`. Reads this sensor's points only.
/// `settings` should be a snapshot.
SensorHistory sensorHistory(const KVSensor& sensor, std::int64_t timeRange, KVExtension::Date now,
                            KVSettings& settings, const KVLocalized::Texts& texts);

/// The stored sensors that have a history, whatever its series. None when the store cannot be read.
KVCoreDataStore::Sensors sensorsWithHistory(KVCoreDataStore& store);

}  // namespace kelvora::tool
