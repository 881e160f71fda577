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
class KVSettings;
namespace KVLocalized {
class Texts;
}  // namespace KVLocalized

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

  /// The name in the user's language for the types 0 to 4, e.g. "Lüfter"; else the stored name.
  /// Also the stored name if the host has no table for the language. A refresh passes its texts.
  std::string localizedName() const;
  std::string localizedName(const KVLocalized::Texts& texts) const;

  /// The sensors that the display settings show, in stored order. Computed, HID and unknown sensors
  /// each have their own setting; all others are always shown. Source comes first: an unknown HID
  /// sensor follows the setting for HID sensors. A refresh passes its snapshot.
  std::vector<KVSensorPtr> filterSensors() const;
  std::vector<KVSensorPtr> filterSensors(KVSettings& settings) const;
  /// Replaces that list for as long as this object lives; none makes it computed again. Nothing is
  /// stored.
  void setFilterSensors(std::optional<std::vector<KVSensorPtr>> sensors);

 private:
  std::optional<std::vector<KVSensorPtr>> assignedFilterSensors_;
};

using KVCategoryPtr = std::shared_ptr<KVCategory>;

}  // namespace kelvora
