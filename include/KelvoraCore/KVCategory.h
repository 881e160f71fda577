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

/// A stored category of sensors: the list that a screen shows for one kind of sensor. Ownership and
/// threads as of ManagedObject.
class KELVORA_EXPORT KVCategory : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "Category";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// The name that looks it up, e.g. "Temperature"; empty when not set.
  std::string name() const;
  void setName(std::string value);

  /// The SensorType of its sensors, e.g. 0 for temperatures.
  std::int16_t type() const;
  void setType(std::int16_t value);

  /// Its sensors in their order. A sensor is in one category at most.
  std::vector<KVSensorPtr> sensors() const;
  void setSensors(const std::vector<KVSensorPtr>& objects);

  /// Appends a sensor, moving it from its place or its former category. The cost does not grow with
  /// the number of sensors. Ignores null and a sensor of another store.
  void addToSensors(const KVSensorPtr& object);
  /// The sensor itself stays in the store. Ignores one of another category.
  void removeFromSensors(const KVSensorPtr& object);
  /// Inserts or moves a sensor so that it then has this index, at most the count of the others.
  void insertIntoSensors(const KVSensorPtr& object, std::size_t index);
};

using KVCategoryPtr = std::shared_ptr<KVCategory>;

}  // namespace kelvora
