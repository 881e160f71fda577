#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "ports/UserDefaults.h"

namespace kelvora::platform {

/// Suites that live in memory: shared by all who open one from the same object, gone with the
/// process. Suites may outlive it. Any thread.
class MemoryUserDefaults : public UserDefaults {
 public:
  MemoryUserDefaults();
  ~MemoryUserDefaults() override;
  std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) override;
  std::optional<PropertyListValue> globalObject(std::string_view key) override;
  /// Sets a value of the global domain; none unsets it.
  void setGlobalObject(std::string_view key, std::optional<PropertyListValue> value);

 private:
  struct Domain;
  std::mutex mutex_;
  std::shared_ptr<Domain> global_;
  std::map<std::string, std::shared_ptr<Domain>> domains_;
};

}  // namespace kelvora::platform
