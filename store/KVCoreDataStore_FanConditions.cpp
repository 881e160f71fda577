#include <chrono>

#include "KelvoraCore/KVCoreDataStore.h"

#include "store/TypedFetch.h"

namespace kelvora {

KVFanConditionPtr KVCoreDataStore::createFanConditionWithFanSet(
    const KVFanSetPtr& fanSet, const KVSensorPtr& sensor, double threshold,
    std::int16_t batteryState, bool externalDisplayConnected,
    const ManagedObjectContextPtr& context) {
  if (fanSet == nullptr || sensor == nullptr) {
    return nullptr;
  }
  KVFanConditionPtr made = insertNew<KVFanCondition>(context);
  if (made == nullptr) {
    return nullptr;
  }
  if (!made->setRelated("fanSet", fanSet)) {
    context->deleteObject(made);
    return nullptr;
  }
  made->setSensorKey(sensor->key());
  made->setThreshold(threshold);
  made->setBatteryState(batteryState);
  made->setExternalDisplayConnected(externalDisplayConnected);
  made->setCreated(std::chrono::system_clock::now());
  return made;
}

KVCoreDataStore::FanConditions KVCoreDataStore::allFanConditions() {
  return allFanConditionsInContext(viewContext());
}

KVCoreDataStore::FanConditions KVCoreDataStore::allFanConditionsInContext(
    const ManagedObjectContextPtr& context) {
  return fetchAll<KVFanCondition>(context, std::nullopt, SortDescriptor{"created", true});
}

}  // namespace kelvora
