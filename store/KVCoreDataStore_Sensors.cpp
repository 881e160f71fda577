#include <string>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/Sensor.h"

#include "store/TypedFetch.h"

namespace kelvora {

namespace {

const std::string* textIn(const PropertyListValue::Dictionary& info, const std::string& key) {
  const auto found = info.find(key);
  return found == info.end() ? nullptr : found->second.as<std::string>();
}

}  // namespace

KVSensorPtr KVCoreDataStore::createSensorWithKey(std::string_view key,
                                                 const ManagedObjectContextPtr& context) {
  if (KVSensorPtr known = getSensorByKey(key, context)) {
    return known;
  }
  KVSensorPtr made = insertNew<KVSensor>(context);
  if (made != nullptr) {
    made->setKey(std::string(key));
  }
  return made;
}

KVSensorPtr KVCoreDataStore::createSensorWithCustomInfo(const PropertyListValue::Dictionary& info) {
  const std::string* key = textIn(info, "key");
  const std::string* name = textIn(info, "name");
  const auto type = info.find("category_type");
  const bool isFan = type != info.end() && type->second.integerValue() == SensorTypeFan;
  if (key == nullptr || name == nullptr || isFan) {
    return nullptr;
  }
  if (KVSensorPtr known = getSensorByKey(*key)) {
    return known;
  }
  KVSensorPtr made = createSensorWithKey(*key, viewContext());
  if (made != nullptr) {
    made->setName(*name);
    made->setFullName(*name);
    made->setIsCustom(true);
  }
  return made;
}

KVSensorPtr KVCoreDataStore::getSensorByKey(std::string_view key) {
  return getSensorByKey(key, viewContext());
}

KVSensorPtr KVCoreDataStore::getSensorByKey(std::string_view key,
                                            const ManagedObjectContextPtr& context) {
  return sensorWhere(Predicate("key = %@", {key}), context);
}

KVSensorPtr KVCoreDataStore::sensorWhere(const Predicate& predicate,
                                         const ManagedObjectContextPtr& context) {
  return fetchFirst<KVSensor>(context, predicate);
}

KVCoreDataStore::Sensors KVCoreDataStore::allSensors() {
  return allSensorsInContext(viewContext());
}

KVCoreDataStore::Sensors KVCoreDataStore::allSensorsInContext(
    const ManagedObjectContextPtr& context) {
  return fetchAll<KVSensor>(context);
}

KVCoreDataStore::Sensors KVCoreDataStore::fanSensors() {
  return fanSensorsInContext(viewContext());
}

KVCoreDataStore::Sensors KVCoreDataStore::fanSensorsInContext(
    const ManagedObjectContextPtr& context) {
  return fetchAll<KVSensor>(context, Predicate("category.type = %d && sourceType != %d",
                                               {SensorTypeFan, SensorSourceComputed}));
}

KVCoreDataStore::Sensors KVCoreDataStore::tempSensors() {
  return tempSensorsInContext(viewContext());
}

// The category's own list and not a predicate as for the fans: in the order of the category, and
// with the computed sensors.
KVCoreDataStore::Sensors KVCoreDataStore::tempSensorsInContext(
    const ManagedObjectContextPtr& context) {
  const KVCategoryPtr category =
      categoryWhere(Predicate("type = %d", {SensorTypeTemperature}), context);
  return category == nullptr ? std::nullopt : Sensors(category->sensors());
}

}  // namespace kelvora
