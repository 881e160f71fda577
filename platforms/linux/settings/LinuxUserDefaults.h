#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platforms/linux/bus/DesktopColourScheme.h"
#include "platforms/linux/settings/SettingsFile.h"
#include "ports/UserDefaults.h"

namespace kelvora::platform {

/// A suite over one property-list file. Writes wait in memory until `synchronize`, and for the end
/// of the object at the latest; this object answers them meanwhile. What could not be written stays
/// waiting for the next `synchronize`.
class LinuxUserDefaultsSuite : public UserDefaultsSuite {
 public:
  explicit LinuxUserDefaultsSuite(std::string path);
  ~LinuxUserDefaultsSuite() override;

  std::optional<PropertyListValue> object(std::string_view key) override;
  void setObject(std::string_view key, PropertyListValue value) override;
  void removeObject(std::string_view key) override;
  bool synchronize() override;

 private:
  std::mutex mutex_;
  SettingsFile file_;
  SettingsChanges waiting_;
};

/// Settings as property-list files in the user's configuration folder: a suite is
/// "<folder>/<suite>/Settings.plist", the global settings are "<folder>/.GlobalPreferences.plist",
/// which the library only reads. "AppleInterfaceStyle" that is not set there follows the desktop:
/// "Dark" while it asks for dark colours.
class LinuxUserDefaults : public UserDefaults {
 public:
  /// `folder` is the configuration folder, e.g. "/home/anna/.config"; `scheme` may be null.
  explicit LinuxUserDefaults(std::string folder = configurationFolder(),
                             std::shared_ptr<const DesktopColourScheme> scheme = nullptr);

  std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) override;
  std::optional<std::string> fileOfSuite(const std::string& name) override;
  std::optional<PropertyListValue> globalObject(std::string_view key) override;

  /// Path of a suite's file, e.g. "/home/anna/.config/group.com.kelvora/Settings.plist".
  std::string suitePath(const std::string& name) const;

  /// XDG_CONFIG_HOME when it is an absolute path, else ".config" in the home folder.
  static std::string configurationFolder();

 private:
  std::string folder_;
  std::shared_ptr<const DesktopColourScheme> scheme_;
  std::mutex mutex_;
  SettingsFile global_;
};

}  // namespace kelvora::platform
