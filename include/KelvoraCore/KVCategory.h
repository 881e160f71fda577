#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ManagedObject.h"

namespace kelvora {

class KVSensor;
using KVSensorPtr = std::shared_ptr<KVSensor>;

/// A stored category of sensors: the list that a screen shows for one kind of sensor. Ownership and
/// threads as of ManagedObject.
class KELVORA_EXPORT KVCategory : public ManagedObject {
 public:
  using ManagedObject::ManagedObject;
  static constexpr const char* kEntityName = "Category";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// Name it is looked up by, e.g. "Temperature"; empty when not set.
  std::string name() const;
  void setName(std::string value);

  /// The SensorType of its sensors.
  std::int16_t type() const;
  void setType(std::int16_t value);

  /// Its sensors in their order. A sensor is in one category at most.
  std::vector<KVSensorPtr> sensors() const;
  void setSensors(const std::vector<KVSensorPtr>& objects);
  /// Appends; costs the same however many there are.
  void addToSensors(const KVSensorPtr& object);
  void removeFromSensors(const KVSensorPtr& object);
  /// Inserts or moves so that the object then has this index.
  void insertIntoSensors(const KVSensorPtr& object, std::size_t index);
};

using KVCategoryPtr = std::shared_ptr<KVCategory>;

}  // namespace kelvora
