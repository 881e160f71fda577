#pragma once

#include <memory>
#include <string>

#include "KelvoraCore/KVDataManager.h"

#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/StoreFixture.h"

namespace kelvora::testing {

/// A manager over settings in memory and a store in a folder of its own.
class DataManagerFixture : public StoreFixture {
 protected:
  DataManagerFixture() {
    platform->ports().userDefaults = std::make_unique<platform::MemoryUserDefaults>();
    manager = std::make_unique<KVDataManager>(*platform);
    suite = platform->userDefaults().suite(kApplicationGroupIdentifier);
  }

  KVCoreDataStore& store() { return manager->coreDataStore(); }
  /// The store as another program sees it that starts now.
  std::unique_ptr<KVCoreDataStore> otherStore() { return makeStore(0); }

  std::unique_ptr<KVDataManager> manager;
  std::unique_ptr<platform::UserDefaultsSuite> suite;
};

}  // namespace kelvora::testing
