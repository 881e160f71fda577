#include "tools/kelvora/KnownSensors.h"

#include <set>
#include <string>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVStoreFile.h"
#include "KelvoraCore/SensorController.h"

namespace kelvora::tool {

namespace {

using Keys = std::set<std::string, std::less<>>;

void addKeysOfStore(Keys& keys) {
  const auto file = storeFile();
  if (!file || !file->exists || !file->fault.empty()) {
    return;
  }
  constexpr double kAlwaysCurrent = 0;
  KVCoreDataStore store(kAlwaysCurrent);
  for (const KVSensorPtr& sensor : store.allSensors().value_or(std::vector<KVSensorPtr>())) {
    keys.insert(sensor->key());
  }
}

void addKeysOfMachine(Keys& keys) {
  if (!Platform::current().hasSensorHardware()) {
    return;
  }
  SensorController controller;
  for (const SensorPtr& sensor : controller.getAllSensors()) {
    keys.insert(sensor->key);
  }
}

}  // namespace

bool isKnownSensor(std::string_view key) {
  Keys keys;
  addKeysOfStore(keys);
  addKeysOfMachine(keys);
  return keys.empty() || keys.contains(key);
}

}  // namespace kelvora::tool
