#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVCoreDataStore.h"

#include "engine/ContextState.h"
#include "engine/ModelFile.h"
#include "engine/PersistentStoreCoordinator.h"
#include "ports/Ports.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// A folder of its own for each test, where the live platform finds the group container.
class StoreFixture : public ::testing::Test {
 protected:
  StoreFixture() {
    ::setenv("XDG_DATA_HOME", home.c_str(), 1);
    platform = Platform::live();
  }

  std::string folder() const { return home + "/" + kApplicationGroupIdentifier; }
  std::string storePath() const { return folder() + "/Database.sqlite"; }
  std::unique_ptr<KVCoreDataStore> makeStore(double staleness = -1, int busyTimeoutMs = 5000) {
    return std::make_unique<KVCoreDataStore>(staleness, *platform,
                                             KVCoreDataStore::Options{busyTimeoutMs});
  }
  KVCategoryPtr addCategory(KVCoreDataStore& store, const std::string& name, std::int16_t type) {
    auto category = store.createOrUpdateCategoryWithName(name, store.viewContext());
    category->setType(type);
    return category;
  }
  KVSensorPtr addSensor(KVCoreDataStore& store, const std::string& key,
                        const KVCategoryPtr& category, std::int16_t sourceType = 0) {
    auto sensor = store.createSensorWithKey(key, store.viewContext());
    sensor->setSourceType(sourceType);
    sensor->setCategory(category);
    return sensor;
  }

  TemporaryFolder temporary;
  const std::string home = temporary.path();
  std::unique_ptr<Platform> platform;
};

template <typename T>
std::vector<std::string> keysOf(const std::vector<std::shared_ptr<T>>& sensors) {
  std::vector<std::string> keys;
  keys.reserve(sensors.size());
  for (const auto& sensor : sensors) {
    keys.push_back(sensor->key());
  }
  return keys;
}

}  // namespace kelvora::testing
