#include "tools/kelvora/StoredSensors.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>

#include "tools/kelvora/StoredCategories.h"

namespace kelvora::tool {

namespace {

constexpr double kLowestTemperature = 0;
constexpr double kHighestTemperature = 110;

KVCategoryPtr categoryNamed(const char* name, KVCoreDataStore& store,
                            const std::vector<KVCategoryPtr>& categories) {
  const auto found = std::ranges::find_if(
      categories, [name](const KVCategoryPtr& category) { return category->name() == name; });
  return found != categories.end()
             ? *found
             : store.createOrUpdateCategoryWithName(name, store.viewContext());
}

// Of two sensors of one key the one that the user added stays, with the history of both.
KVSensorPtr joined(KVCoreDataStore& store, const KVSensorPtr& first, const KVSensorPtr& second) {
  const KVSensorPtr& kept = first->isCustom() ? first : second;
  const KVSensorPtr& twin = first->isCustom() ? second : first;
  for (const KVGraphPointPtr& point : twin->graphPoints()) {
    point->setSensor(kept);
  }
  store.viewContext()->deleteObject(twin);
  return kept;
}

std::int16_t stored(std::uint64_t code) { return static_cast<std::int16_t>(code); }

void describe(KVSensor& stored, const Sensor& sensor, const KVCategoryPtr& category) {
  stored.setName(sensor.name);
  stored.setFullName(sensor.fullName);
  stored.setMinValue(sensor.minLimitValue);
  stored.setMaxValue(sensor.maxLimitValue);
  stored.setGroup(tool::stored(sensor.group));
  stored.setSourceType(tool::stored(sensor.sourceType));
  stored.setPlatform(tool::stored(sensor.platform));
  stored.setAverage(sensor.average);
  if (stored.category() != category) {
    stored.setCategory(category);
  }
}

SensorPtr readingOf(const KVSensor& stored, SensorController& controller,
                    const SensorList& sensors) {
  const KVCategoryPtr category = stored.category();
  if (category == nullptr) {
    return nullptr;
  }
  const auto type = static_cast<std::uint64_t>(category->type());
  const auto source = static_cast<std::uint64_t>(stored.sourceType());
  const double value = controller.getSensorValueByKey(stored.key(), type, source, sensors);
  return Sensor::instanceWithKey(stored.key(), stored.name(), stored.fullName(), value,
                                 kLowestTemperature, kHighestTemperature, type, SensorGroupNone,
                                 SensorPlatformEvery, source, false);
}

}  // namespace

std::optional<StoredSensors> StoredSensors::read(KVCoreDataStore& store) {
  for (const SensorTypeRow& row : kSensorTypes) {
    joinCategories(store, row.category);
  }
  const KVCoreDataStore::Sensors sensors = store.allSensors();
  const KVCoreDataStore::Categories categories = store.allCategories();
  if (!sensors || !categories) {
    return std::nullopt;
  }
  StoredSensors result(store);
  for (const KVSensorPtr& sensor : *sensors) {
    KVSensorPtr& known = result.sensors_[sensor->key()];
    if (known == nullptr) {
      known = sensor;
    } else if (known->isCustom() || sensor->isCustom()) {
      known = joined(store, known, sensor);
    }
  }
  for (const SensorTypeRow& row : kSensorTypes) {
    const KVCategoryPtr category = categoryNamed(row.category, store, *categories);
    category->setType(stored(row.type));
    result.categories_.at(row.type) = category;
  }
  return result;
}

void StoredSensors::addCustomSensors(SensorController& controller, SensorList& sensors) const {
  std::unordered_set<std::string> read;
  for (const SensorPtr& sensor : sensors) {
    read.insert(sensor->key);
    const KVSensorPtr stored = this->sensor(sensor->key);
    if (stored != nullptr && stored->isCustom()) {
      sensor->name = stored->name();
      sensor->fullName = stored->fullName();
    }
  }
  for (const auto& [key, stored] : sensors_) {
    const SensorPtr reading = stored->isCustom() && !read.contains(key)
                                  ? readingOf(*stored, controller, sensors)
                                  : nullptr;
    if (reading != nullptr && reading->isValidValue()) {
      sensors.push_back(reading);
    }
  }
}

void StoredSensors::update(const SensorList& sensors) {
  for (const SensorPtr& sensor : sensors) {
    KVSensorPtr& stored = sensors_[sensor->key];
    if (stored == nullptr) {
      stored = store_->createSensorWithKey(sensor->key, store_->viewContext());
    }
    if (!stored->isCustom()) {
      describe(*stored, *sensor, categories_.at(sensor->type));
    }
    if (isRead(sensor->value)) {
      stored->setValue(sensor->value);
    }
  }
}

bool StoredSensors::isRead(double value) {
  return std::isfinite(value) && value != KVSensor::kNothingRecorded;
}

void StoredSensors::widenExtremes(KVSensor& sensor, double value) {
  if (sensor.recordedMinValue() == KVSensor::kNothingRecorded ||
      value < sensor.recordedMinValue()) {
    sensor.setRecordedMinValue(value);
  }
  if (sensor.recordedMaxValue() == KVSensor::kNothingRecorded ||
      value > sensor.recordedMaxValue()) {
    sensor.setRecordedMaxValue(value);
  }
}

KVSensorPtr StoredSensors::sensor(const std::string& key) const {
  const auto found = sensors_.find(key);
  return found == sensors_.end() ? nullptr : found->second;
}

}  // namespace kelvora::tool
