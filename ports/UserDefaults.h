#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::platform {

/// A named suite of settings that several programs share. A read shows what any of them last
/// wrote. Any thread.
class UserDefaultsSuite {
 public:
  virtual ~UserDefaultsSuite() = default;
  virtual std::optional<PropertyListValue> object(std::string_view key) = 0;
  virtual void setObject(std::string_view key, PropertyListValue value) = 0;
  virtual void removeObject(std::string_view key) = 0;
  /// Brings every write to disk; false when that failed (the failure is logged once).
  virtual bool synchronize() = 0;
};

/// Opens suites, and reads the user's global settings. Any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  /// The suite of a group, e.g. "group.com.kelvora"; never null.
  virtual std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) = 0;
  /// The file behind a suite, e.g. "/home/anna/.config/group.com.kelvora/Settings.plist", even if
  /// it does not exist; none if the system keeps suites elsewhere.
  virtual std::optional<std::string> fileOfSuite(const std::string&) { return std::nullopt; }
  /// A value of the global domain, e.g. "AppleInterfaceStyle"; none if it is not set.
  virtual std::optional<PropertyListValue> globalObject(std::string_view key) = 0;
};

}  // namespace kelvora::platform
