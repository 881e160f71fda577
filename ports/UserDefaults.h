#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::platform {

/// Why a value is written.
enum class SuiteWrite : std::uint8_t {
  kChoice,   ///< somebody chose it: waits for other programs, and replaces a damaged suite
  kDefault,  ///< a default is kept: gives up soon, and leaves a damaged suite as it is
};

/// A named suite of settings that several programs share. Nothing is cached: a read returns what
/// any program last wrote, and a write is on disk when it returns. Any thread.
class UserDefaultsSuite {
 public:
  virtual ~UserDefaultsSuite() = default;

  /// The value under a key, e.g. "KVMainSensor"; none when the key is absent or the suite is
  /// damaged. While the suite cannot be read, the value that was read last; none before the first.
  virtual std::optional<PropertyListValue> object(std::string_view key) = 0;

  /// Every key and value at one moment; otherwise as `object`.
  virtual PropertyListValue::Dictionary objects() = 0;

  /// Stores a value and brings it to disk. On failure returns false, logs once until a write
  /// succeeds, and leaves nothing that could be stored later.
  virtual bool setObject(std::string_view key, PropertyListValue value) = 0;

  /// Removes a key; otherwise as `setObject`. True also when the key was absent.
  virtual bool removeObject(std::string_view key) = 0;

  /// Returns the value to store, or nullopt to leave the key unchanged. `held` is nullopt when the
  /// key is absent. Must not use the suite.
  using Change =
      std::function<std::optional<PropertyListValue>(const std::optional<PropertyListValue>& held)>;

  /// Reads a value, changes it and brings it to disk in one step: no program of this library writes
  /// the suite meanwhile. Returns what the key then holds, none when it is still absent. Returns
  /// none and stores nothing when the suite cannot be read or written, or is damaged and `reason`
  /// is kDefault; `change` may have been called by then. Logs as `setObject`.
  virtual std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                        SuiteWrite reason) = 0;

  /// Stores a default only if the key is still absent at the moment of writing, and returns what
  /// the key then holds: `value`, or what another program stored first. Otherwise as
  /// `changeObject`.
  std::optional<PropertyListValue> setObjectIfAbsent(std::string_view key,
                                                     const PropertyListValue& value) {
    return changeObject(
        key, [&](const auto& held) { return held ? std::nullopt : std::optional(value); },
        SuiteWrite::kDefault);
  }
};

/// The file of a suite at one moment.
struct SuiteFile {
  std::string path;  ///< e.g. "/home/anna/.config/group.com.kelvora/Settings.plist"
  bool exists = false;
  PropertyListValue::Dictionary values;  ///< what is in it; empty when it cannot be read
  std::string fault;      ///< why it cannot be read, e.g. "not a dictionary"; else empty
  std::string lockFault;  ///< why nothing can be stored now, e.g. "another program keeps it locked"
  std::string target;     ///< where the links at `path` lead; else `path`
  std::string obstacle;   ///< what is in the way of a new file, e.g. "/…/Settings.plist.new"
};

/// Opens suites, and reads the user's global settings. Any thread.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  /// The suite of a group, e.g. "group.com.kelvora"; never null.
  virtual std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) = 0;
  /// Looks at the file of a suite, e.g. of "group.com.kelvora", and tries its lock as a write
  /// does, which may wait some seconds for another program. Creates and changes nothing, and logs
  /// nothing. None where programs have no access to the file
  /// of a suite.
  virtual std::optional<SuiteFile> fileOfSuite(const std::string&) { return std::nullopt; }
  /// A value of the global domain, e.g. "Dark" for "AppleInterfaceStyle"; none when it is not set.
  virtual std::optional<PropertyListValue> globalObject(std::string_view key) = 0;
};

}  // namespace kelvora::platform
