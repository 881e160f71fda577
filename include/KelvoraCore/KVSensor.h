#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVManagedObject.h"

namespace kelvora {

class KVCategory;
using KVCategoryPtr = std::shared_ptr<KVCategory>;
class KVGraphPoint;
using KVGraphPointPtr = std::shared_ptr<KVGraphPoint>;

/// A stored sensor: its names, its limits, its last value and its history. Ownership and threads as
/// of ManagedObject. Numbers that were never set are 0 unless said
/// otherwise, texts empty.
class KELVORA_EXPORT KVSensor : public KVManagedObject {
 public:
  using KVManagedObject::KVManagedObject;
  static constexpr const char* kEntityName = "Sensor";
  /// The attributes by name, as the model has them.
  static const std::vector<std::string>& attributeNames();

  /// SMC key ("TC0P"), HID product name or computed key ("AverageCPU"); its identity by convention.
  std::string key() const;
  void setKey(std::string value);

  /// Short display name, e.g. "CPU Proximity".
  std::string name() const;
  void setName(std::string value);

  /// Long display name.
  std::string fullName() const;
  void setFullName(std::string value);

  /// Last value in the unit of its type: degrees Celsius, rpm, volts, amperes or watts.
  double value() const;
  void setValue(double value);

  /// Lower limit of its range, in the same unit.
  double minValue() const;
  void setMinValue(double value);

  /// Upper limit of its range, in the same unit.
  double maxValue() const;
  void setMaxValue(double value);

  /// Lowest value recorded; -1 when nothing was.
  double recordedMinValue() const;
  void setRecordedMinValue(double value);

  /// Highest value recorded; -1 when nothing was.
  double recordedMaxValue() const;
  void setRecordedMaxValue(double value);

  /// A SensorGroup.
  std::int16_t group() const;
  void setGroup(std::int16_t value);

  /// A SensorSourceType.
  std::int16_t sourceType() const;
  void setSourceType(std::int16_t value);

  /// A mask of SensorPlatform bits.
  std::int16_t platform() const;
  void setPlatform(std::int16_t value);

  /// Whether it counts toward the CPU or GPU average.
  bool average() const;
  void setAverage(bool value);

  /// Whether the user added it.
  bool isCustom() const;
  void setIsCustom(bool value);

  /// Null when it has none. Setting another category makes the sensor the last of that category.
  KVCategoryPtr category() const;
  void setCategory(const KVCategoryPtr& object);

  /// Its history in stored order. Deleting the sensor deletes the points.
  std::vector<KVGraphPointPtr> graphPoints() const;
  void setGraphPoints(const std::vector<KVGraphPointPtr>& objects);

  /// Appends a point. The cost does not grow with the length of the history.
  void addToGraphPoints(const KVGraphPointPtr& object);
  /// The point itself stays in the store, without a sensor.
  void removeFromGraphPoints(const KVGraphPointPtr& object);
  /// Inserts or moves a point so that it then has this index, at most the count of the others.
  void insertIntoGraphPoints(const KVGraphPointPtr& object, std::size_t index);
};

using KVSensorPtr = std::shared_ptr<KVSensor>;

}  // namespace kelvora
