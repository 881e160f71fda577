#pragma once

#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/KVDataManager.h"

#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/RecordedNotices.h"
#include "tests/support/StoreFixture.h"

namespace kelvora::testing {

/// A manager over settings in memory and a store in a folder of its own.
class ManagerFixture : public StoreFixture {
 protected:
  ManagerFixture() {
    platform->ports().userDefaults = std::make_unique<platform::MemoryUserDefaults>();
    manager = std::make_unique<KVDataManager>(*platform);
    suite = platform->userDefaults().suite(kApplicationGroupIdentifier);
  }
  KVCoreDataStore& store() { return manager->coreDataStore(); }
  /// The store as another program sees it that starts now.
  std::unique_ptr<KVCoreDataStore> otherStore() { return makeStore(0); }
  /// A new sensor in a category, which is made if it is missing.
  KVSensorPtr add(const std::string& key, const std::string& category = "Temperature",
                  std::int16_t type = 0) {
    return addSensor(store(), key, addCategory(store(), category, type));
  }

  std::unique_ptr<KVDataManager> manager;
  std::unique_ptr<platform::UserDefaultsSuite> suite;
};

}  // namespace kelvora::testing
