#include <algorithm>

#include "KelvoraCore/KVDataManager.h"

namespace kelvora {

namespace {

using Info = PropertyListValue::Dictionary;

// Degrees Celsius.
constexpr double kLowestCustomTemperature = 0;
constexpr double kHighestCustomTemperature = 110;

// A missing number is 0.
PropertyListValue numberIn(const Info& info, const char* key) {
  const auto found = info.find(key);
  return found == info.end() ? PropertyListValue(0) : found->second;
}

void complete(const KVDataManager::Completion& completion, std::optional<KVError> error) {
  if (completion) {
    const bool done = !error.has_value();
    completion(done, std::move(error));
  }
}

std::optional<PropertyListValue> listWithout(const std::string& key,
                                             const std::optional<PropertyListValue>& list) {
  if (!list) {
    return std::nullopt;
  }
  PropertyListValue::Array keys = *list->as<PropertyListValue::Array>();
  std::erase(keys, PropertyListValue(key));
  return keys;
}

void fillCustomSensor(const KVSensorPtr& sensor, const KVCategoryPtr& category, double value) {
  sensor->setValue(value);
  sensor->setRecordedMinValue(std::min(sensor->finalRecordedMinValue(), value));
  sensor->setRecordedMaxValue(std::max(sensor->finalRecordedMaxValue(), value));
  if (category->type() == SensorTypeTemperature) {
    sensor->setMinValue(kLowestCustomTemperature);
    sensor->setMaxValue(kHighestCustomTemperature);
  }
  category->addToSensors(sensor);
}

}  // namespace

// A successful save leaves nothing unsaved.
bool KVDataManager::saveStore() {
  const ManagedObjectContextPtr context = store_->viewContext();
  store_->saveViewContext();
  return context != nullptr && !context->hasChanges();
}

KVError KVDataManager::error(std::int64_t code) {
  return KVError::errorWithCode(code, *this, platform());
}

// Each change begins with a save of what the host left unsaved, so that a rollback drops only the
// change itself. Without this a later save would store a change that was reported as failed, and
// overwrite what other programs have stored since.
void KVDataManager::addCustomSensor(const Info& info, const Completion& completion) {
  const KVCategoryPtr category =
      store_->getCategoryWithType(numberIn(info, "category_type").integerValue());
  const KVSensorPtr sensor =
      category != nullptr && saveStore() ? store_->createSensorWithCustomInfo(info) : nullptr;
  if (sensor == nullptr) {
    complete(completion, error(KVErrorGeneral));
    return;
  }
  const double value = numberIn(info, "value").doubleValue();
  fillCustomSensor(sensor, category, value);
  if (!saveStore()) {
    store_->viewContext()->rollback();
    complete(completion, error(KVErrorGeneral));
    return;
  }
  returnToCategory(sensor, category->type());
  joinTwins(sensor, value);
  complete(completion, std::nullopt);
}

// A program that joins two categories of one type deletes one of them, and what was added to it
// meanwhile has none.
void KVDataManager::returnToCategory(const KVSensorPtr& sensor, std::int64_t type) {
  const Predicate isLost("key = %@ && category = nil", {sensor->key()});
  if (store_->sensorWhere(isLost, store_->viewContext()) != sensor) {
    return;
  }
  if (const KVCategoryPtr category = store_->getCategoryWithType(type)) {
    category->addToSensors(sensor);
    if (!saveStore()) {
      store_->viewContext()->rollback();
    }
  }
}

// Two programs that add one key at the same time both find none, and both insert it; so does one
// that records what it reads. Whoever saves last sees both sensors; all programs then keep the
// first that a user added, by its identity.
void KVDataManager::joinTwins(const KVSensorPtr& sensor, double value) {
  const ManagedObjectContextPtr context = store_->viewContext();
  const auto twins = context->objectsOf("Sensor", Predicate("key = %@", {sensor->key()}));
  if (!twins || twins->size() < 2 || !sensor->isCustom()) {
    return;
  }
  const auto own = std::find_if(twins->begin(), twins->end(), [](const ManagedObjectPtr& twin) {
    return std::static_pointer_cast<KVSensor>(twin)->isCustom();
  });
  const auto kept = own == twins->end() ? sensor : std::static_pointer_cast<KVSensor>(*own);
  const KVCategoryPtr category = sensor->category();
  if (kept != sensor && category != nullptr) {
    fillCustomSensor(kept, category, value);
  }
  for (const ManagedObjectPtr& twin : *twins) {
    if (twin != kept) {
      for (const KVGraphPointPtr& point : std::static_pointer_cast<KVSensor>(twin)->graphPoints()) {
        point->setSensor(kept);
      }
      context->deleteObject(twin);
    }
  }
  if (!saveStore()) {
    context->rollback();
  }
}

void KVDataManager::removeCustomSensor(const KVSensorPtr& sensor, const Completion& completion) {
  if (sensor == nullptr || !sensor->isCustom()) {
    complete(completion, error(KVErrorCannotRemoveDefaultSensor));
    return;
  }
  const ManagedObjectContextPtr context = store_->viewContext();
  const ManagedObjectPtr stored = context == nullptr ? nullptr : context->objectFor(sensor);
  if (stored == nullptr || !saveStore()) {
    complete(completion, error(KVErrorGeneral));
    return;
  }
  const std::string key = sensor->key();
  context->deleteObject(stored);
  if (!saveStore()) {
    context->rollback();
    complete(completion, error(KVErrorGeneral));
    return;
  }
  removeFromMenu(key);
  complete(completion, std::nullopt);
}

// In one step: another program may take another sensor out of the menu at the same time.
void KVDataManager::removeFromMenu(const std::string& key) {
  const KVSetting& menu = settingOf(KVSettingID::kMenuSensors);
  if (menuSensors()) {
    changeValue(menu, [&](const auto& stored) { return listWithout(key, stored); });
  } else {
    announce(menu, std::nullopt);
  }
}

}  // namespace kelvora
