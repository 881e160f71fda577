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

/// A suite over one property-list file.
class LinuxUserDefaultsSuite : public UserDefaultsSuite {
 public:
  explicit LinuxUserDefaultsSuite(std::string path);

  std::optional<PropertyListValue> object(std::string_view key) override;
  PropertyListValue::Dictionary objects() override;
  bool setObject(std::string_view key, PropertyListValue value) override;
  bool removeObject(std::string_view key) override;
  std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                SuiteWrite reason) override;

 private:
  std::mutex mutex_;
  SettingsFile file_;
};

/// Settings as property-list files in the user's configuration folder: a suite is
/// "<folder>/<suite>/Settings.plist", the global settings are "<folder>/.GlobalPreferences.plist",
/// which the library only reads. While "AppleInterfaceStyle" is not set there it follows the
/// desktop: "Dark" while the desktop prefers dark colours. The first look waits for the desktop, at
/// most half a second.
class LinuxUserDefaults : public UserDefaults {
 public:
  /// `folder` is the configuration folder, e.g. "/home/anna/.config"; `scheme` may be null.
  explicit LinuxUserDefaults(std::string folder = configurationFolder(),
                             std::shared_ptr<DesktopColourScheme> scheme = nullptr);

  std::unique_ptr<UserDefaultsSuite> suite(const std::string& name) override;
  std::optional<SuiteFile> fileOfSuite(const std::string& name) override;
  std::optional<PropertyListValue> globalObject(std::string_view key) override;

  /// Path of a suite's file, e.g. "/home/anna/.config/group.com.kelvora/Settings.plist".
  std::string suitePath(const std::string& name) const;

  /// XDG_CONFIG_HOME when it is an absolute path, else ".config" in the home folder.
  static std::string configurationFolder();

 private:
  std::string folder_;
  std::shared_ptr<DesktopColourScheme> scheme_;
  std::mutex mutex_;
  SettingsFile global_;
};

}  // namespace kelvora::platform
