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
};

using KVFanConditionPtr = std::shared_ptr<KVFanCondition>;

}  // namespace kelvora
