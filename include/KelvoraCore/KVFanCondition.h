#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVManagedObject.h"

namespace kelvora {

class KVSensor;
using KVSensorPtr = std::shared_ptr<KVSensor>;
class KVFanSet;
using KVFanSetPtr = std::shared_ptr<KVFanSet>;

/// A stored condition under which a fan set applies. Ownership and threads as of ManagedObject.
class KELVORA_EXPORT KVFanCondition : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "FanCondition";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// Whether it is enabled; true unless set.
  bool active() const;
  void setActive(bool value);

  /// The battery state that it requires, in the codes of the fan controller.
  std::int16_t batteryState() const;
  void setBatteryState(std::int16_t value);

  /// When it was made; none when not set.
  std::optional<ManagedDate> created() const;
  void setCreated(ManagedDate value);

  /// Key of the sensor that it watches, e.g. "TC0P"; empty when not set.
  std::string sensorKey() const;
  void setSensorKey(std::string value);

  /// The condition holds from this value on, in the sensor's raw unit.
  double threshold() const;
  void setThreshold(double value);

  /// Whether it requires an external display.
  bool externalDisplayConnected() const;
  void setExternalDisplayConnected(bool value);

  /// The set that it applies; null when it has none.
  KVFanSetPtr fanSet() const;
  void setFanSet(const KVFanSetPtr& object);

  /// The sensor with `sensorKey`, looked up in the condition's context on every call; null when the
  /// sensor or the context is gone.
  KVSensorPtr sensor() const;

  /// The condition in five lines for logs:
  ///
  ///     Fan set: Quiet
  ///     Sensor: TC0P
  ///     Threshold: 72
  ///     Battery State: 0
  ///     External Display: 1
  ///
  /// The threshold without its fraction; "(null)" for a fan set, a name or a key that is missing.
  std::string description() const;
};

using KVFanConditionPtr = std::shared_ptr<KVFanCondition>;

}  // namespace kelvora
