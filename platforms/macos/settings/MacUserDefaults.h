#pragma once

#include <chrono>
#include <mutex>
#include <string>

#include "platforms/macos/CFOwned.h"
#include "platforms/posix/FileDescriptor.h"
#include "ports/UserDefaults.h"

namespace kelvora::platform {

/// The preferences of an application group. Core Foundation cannot look and write in one step: so
/// programs of this library hold a lock meanwhile, a file in the group's folder. A write continues
/// without the lock if it is not free within 0.2 s, or if the group has no folder.
class MacUserDefaultsSuite : public UserDefaultsSuite {
 public:
  /// `lockFolder` may be empty: no lock.
  MacUserDefaultsSuite(const std::string& name, std::string lockFolder);

  std::optional<PropertyListValue> object(std::string_view key) override;
  PropertyListValue::Dictionary objects() override;
  /// A write that failed is taken back, also from memory: the value from before is set again.
  bool setObject(std::string_view key, PropertyListValue value) override;
  bool removeObject(std::string_view key) override;
  /// Unlike `setObject` never continues without a lock that another program has. Waits up to 5 s
  /// for it, for a default 0.2 s.
  std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                SuiteWrite reason) override;

 private:
  bool synchronize();
  CFOwned<CFPropertyListRef> copyValue(CFStringRef key);
  bool write(CFStringRef key, CFPropertyListRef value);
  bool reportFailure(std::string_view key);
  FileDescriptor lock(std::chrono::milliseconds wait);

  std::mutex mutex_;
  CFOwned<CFStringRef> name_;
  std::string lockFolder_;
  bool hasReportedFailure_ = false;
};

/// Preferences of the user, by Core Foundation.
class MacUserDefaults : public UserDefaults {
 public:
  std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) override;
  std::optional<PropertyListValue> globalObject(std::string_view key) override;
};

}  // namespace kelvora::platform
