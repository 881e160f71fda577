#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVManagedObject.h"

namespace kelvora {

class KVSensor;
using KVSensorPtr = std::shared_ptr<KVSensor>;
class KVSettings;

/// One point of a sensor's history. Ownership and threads as of ManagedObject.
class KELVORA_EXPORT KVGraphPoint : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "GraphPoint";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// When it was sampled, in seconds since 1 January 1970 (UTC).
  double pointX() const;
  void setPointX(double value);

  /// Value in the sensor's raw unit.
  double pointY() const;
  void setPointY(double value);

  /// Its series: a KVGraphTimeRange, 0 hour, 1 day, 2 week.
  std::int16_t timeRange() const;
  void setTimeRange(std::int16_t value);

  /// The sensor that it belongs to; null when it has none. Setting another one makes the point the
  /// last of that sensor's history.
  KVSensorPtr sensor() const;
  void setSensor(const KVSensorPtr& object);

  // For display, computed on each call. The second form of a function takes a KVSettingsSnapshot,
  // so that a graph reads the settings once.

  /// When it was sampled, on two lines: "3/07/2024", a line feed, "14:05:09". A time that no date
  /// can hold gives the nearest one.
  std::string title() const;
  /// The value as the settings want it: a temperature in Celsius or Fahrenheit, a fan's speed in
  /// revolutions or as a fraction of its upper limit, any other as stored. The fraction begins at 0
  /// revolutions and is not clamped, unlike the sensor's: 3000 rpm of 1200 to 6000 is 0.5. Infinite
  /// or not-a-number without an upper limit; the stored value without a sensor.
  double convertedPointY() const;
  double convertedPointY(KVSettings& settings) const;
  /// That value with its unit, e.g. "46°C" or "50%"; "-" below 0.
  std::string valueString() const;
  std::string valueString(KVSettings& settings) const;
};

using KVGraphPointPtr = std::shared_ptr<KVGraphPoint>;

}  // namespace kelvora
