#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "ports/UserDefaults.h"
#include "settings/SnapshotSuite.h"

namespace kelvora::platform {

/// Suites that live in memory: shared by all who open one from the same object, gone with the
/// process. Suites may outlive it. Any thread.
class MemoryUserDefaults : public UserDefaults {
 public:
  std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) override;
  std::optional<PropertyListValue> globalObject(std::string_view key) override;
  /// Sets a value of the global domain; none unsets it.
  void setGlobalObject(std::string_view key, std::optional<PropertyListValue> value);

 private:
  std::mutex mutex_;
  SnapshotSuite global_{{}};
  std::map<std::string, std::shared_ptr<SnapshotSuite>> suites_;
};

}  // namespace kelvora::platform
