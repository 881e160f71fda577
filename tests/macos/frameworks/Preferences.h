#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::testing::mac {

/// CFPreferences of one program: what is on disk, what this program read last, and what it has set
/// and not written yet. Other programs only see and change what is on disk.
class Preferences {
 public:
  static Preferences& shared();
  /// Forgets everything.
  void reset();

  /// Another program sets a value, or removes it, at once on disk.
  void setByOther(const std::string& application, const std::string& key,
                  std::optional<PropertyListValue> value);
  /// What other programs see.
  PropertyListValue::Dictionary onDisk(const std::string& application);
  /// Called at the beginning of each synchronisation, without the lock.
  std::function<void()> onSynchronize;

  // What the functions of the framework do.
  std::optional<PropertyListValue> value(const std::string& application, const std::string& key);
  PropertyListValue::Dictionary values(const std::string& application);
  void set(const std::string& application, const std::string& key,
           std::optional<PropertyListValue> value);
  void synchronize(const std::string& application);

 private:
  using Dictionary = PropertyListValue::Dictionary;

  std::mutex mutex_;
  std::map<std::string, Dictionary> disk_;
  std::map<std::string, Dictionary> read_;
  std::map<std::string, std::map<std::string, std::optional<PropertyListValue>>> set_;
};

/// The name of the domain of every program.
inline constexpr char kGlobalDomain[] = "kCFPreferencesAnyApplication";

}  // namespace kelvora::testing::mac
