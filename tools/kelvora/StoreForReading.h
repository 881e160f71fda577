#pragma once

#include <optional>
#include <vector>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

namespace kelvora::tool {

/// Settings and store for a command that only shows: they create and change nothing. Main thread
/// only.
class StoreForReading {
 public:
  KVSettings& settings() { return settings_; }
  KVCoreDataStore& store() { return store_; }

  /// The objects of a list of the store; empty while there is no store file. Ends the command when
  /// the store cannot be read.
  template <typename T>
  std::vector<T> objects(std::optional<std::vector<T>> (KVCoreDataStore::*list)()) {
    if (!exists()) {
      return {};
    }
    auto objects = (store_.*list)();
    if (!objects) {
      refuseUnreadable();
    }
    return *std::move(objects);
  }

 private:
  static bool exists();
  [[noreturn]] static void refuseUnreadable();

  KVSettingsSnapshot settings_;
  KVCoreDataStore store_{0, Platform::current(), settings_, {.isReadOnly = true}};
};

}  // namespace kelvora::tool
