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

/// One point of a sensor's history. Ownership and threads as of ManagedObject.
class KELVORA_EXPORT KVGraphPoint : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "GraphPoint";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// Seconds since 1970.
  double pointX() const;
  void setPointX(double value);

  /// Value in the sensor's raw unit.
  double pointY() const;
  void setPointY(double value);

  /// Series: 0 hour, 1 day, 2 week.
  std::int16_t timeRange() const;
  void setTimeRange(std::int16_t value);

  /// The sensor that it belongs to; null when it has none. Setting another one makes the point the
  /// last of that sensor's history.
  KVSensorPtr sensor() const;
  void setSensor(const KVSensorPtr& object);
};

using KVGraphPointPtr = std::shared_ptr<KVGraphPoint>;

}  // namespace kelvora
