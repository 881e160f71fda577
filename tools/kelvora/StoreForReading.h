#pragma once

#include <optional>
#include <vector>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

namespace kelvora::tool {

/// Ends the command with what is wrong with the store's file.
[[noreturn]] void refuseUnreadableStore();

/// The objects of a list of the store. Ends the command when the store cannot be read.
template <typename T>
std::vector<T> readable(std::optional<std::vector<T>> objects) {
  if (!objects) {
    refuseUnreadableStore();
  }
  return *std::move(objects);
}

/// Settings and store for a command that only shows: they create and change nothing. Main thread
/// only.
class StoreForReading {
 public:
  /// Whether there is a store file with content, or one that cannot be looked at.
  static bool exists();

  KVSettings& settings() { return settings_; }
  KVCoreDataStore& store() { return store_; }

  /// The objects of a list of the store; empty while there is no store file. Ends the command when
  /// the store cannot be read.
  template <typename T>
  std::vector<T> objects(std::optional<std::vector<T>> (KVCoreDataStore::*list)()) {
    return exists() ? readable((store_.*list)()) : std::vector<T>();
  }

 private:
  static constexpr double kKeepValues = -1;  // a command shows one state of the store

  KVSettingsSnapshot settings_;
  KVCoreDataStore store_{kKeepValues, Platform::current(), settings_, {.isReadOnly = true}};
};

}  // namespace kelvora::tool
