#pragma once

#include <array>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/SensorController.h"

#include "tools/kelvora/SensorTypes.h"

namespace kelvora::tool {

/// The categories and sensors of a store, read at one moment, to be brought up to date with a
/// reading. What changes is unsaved in the store's view context. Only on the main thread.
class StoredSensors {
 public:
  /// Reads them, creates the categories that are missing, and joins categories that are there twice
  /// and sensors that are there twice when the user added one; none when the store cannot be read.
  static std::optional<StoredSensors> read(KVCoreDataStore& store);

  /// Gives the sensors that the user added their names, and appends a reading of those that
  /// `sensors` lacks, as far as they can be read.
  void addCustomSensors(SensorController& controller, SensorList& sensors) const;
  /// Creates the sensors that are missing, and makes all as they were read. A sensor that the user
  /// added keeps the description that the user gave it.
  void update(const SensorList& sensors);
  /// Makes `value` a recorded extreme of a sensor if it is one.
  static void widenExtremes(KVSensor& sensor, double value);
  /// Whether a value is one that was read: a finite number other than
  /// `KVSensor::kNothingRecorded`.
  static bool isRead(double value);

  /// Null when there is none.
  KVSensorPtr sensor(const std::string& key) const;

 private:
  explicit StoredSensors(KVCoreDataStore& store) : store_(&store) {}

  KVCoreDataStore* store_;
  std::array<KVCategoryPtr, std::size(kSensorTypes)> categories_;  // by SensorType
  std::unordered_map<std::string, KVSensorPtr> sensors_;
};

}  // namespace kelvora::tool
