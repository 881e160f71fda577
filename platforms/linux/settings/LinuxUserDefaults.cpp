#include "platforms/linux/settings/LinuxUserDefaults.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platforms/linux/system/UserFolders.h"
#include "platforms/posix/FileLock.h"
#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

constexpr std::string_view kInterfaceStyle = "AppleInterfaceStyle";

// Why a program that wants to write now would not get the lock of a settings file. Waits as long as
// a write does.
std::string faultOfLock(const std::string& target) {
  if (lockExistingFile(target + kLockEnding, SettingsFile::kWaitOfWrite).isOpen()) {
    return "";
  }
  switch (errno) {
    case ENOENT:  // the next writer creates it
    case ENOTDIR:
      return "";
    case ETIMEDOUT:
      return "another program keeps it locked";
    case ELOOP:
    case EISDIR:
      return "the lock beside it: not a file";
    default:
      return "the lock beside it: " + std::generic_category().message(errno);
  }
}

// A writer replaces whatever else has the name.
std::string folderInPlaceOf(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(std::filesystem::symlink_status(path, error)) ? path : "";
}

}  // namespace

LinuxUserDefaultsSuite::LinuxUserDefaultsSuite(std::string path) : file_(std::move(path)) {}

std::optional<PropertyListValue> LinuxUserDefaultsSuite::object(std::string_view key) {
  const std::lock_guard lock(mutex_);
  return file_.value(key);
}

PropertyListValue::Dictionary LinuxUserDefaultsSuite::objects() {
  const std::lock_guard lock(mutex_);
  return file_.contents();
}

bool LinuxUserDefaultsSuite::setObject(std::string_view key, PropertyListValue value) {
  const std::lock_guard lock(mutex_);
  return file_.write(key, value);
}

bool LinuxUserDefaultsSuite::removeObject(std::string_view key) {
  const std::lock_guard lock(mutex_);
  return file_.write(key, std::nullopt);
}

std::optional<PropertyListValue> LinuxUserDefaultsSuite::changeObject(std::string_view key,
                                                                      const Change& change,
                                                                      SuiteWrite reason) {
  const std::lock_guard lock(mutex_);
  return file_.change(key, change, reason);
}

LinuxUserDefaults::LinuxUserDefaults(std::string folder,
                                     std::shared_ptr<DesktopColourScheme> scheme)
    : folder_(std::move(folder)),
      scheme_(std::move(scheme)),
      global_(folder_ + "/.GlobalPreferences.plist") {}

std::unique_ptr<UserDefaultsSuite> LinuxUserDefaults::suite(const std::string& name) {
  return std::make_unique<LinuxUserDefaultsSuite>(suitePath(name));
}

std::optional<SuiteFile> LinuxUserDefaults::fileOfSuite(const std::string& name) {
  const std::string path = suitePath(name);
  const std::string target = endOfLinks(path);
  SettingsReading reading = readSettingsFile(path);
  return SuiteFile{path,
                   reading.state != SettingsState::kMissing,
                   std::move(reading.values),
                   reading.fault,
                   faultOfLock(target),
                   target,
                   folderInPlaceOf(target + kNewFileEnding)};
}

std::optional<PropertyListValue> LinuxUserDefaults::globalObject(std::string_view key) {
  {
    const std::lock_guard lock(mutex_);
    if (auto value = global_.value(key)) {
      return value;
    }
  }
  const bool isDark =
      key == kInterfaceStyle && scheme_ && scheme_->value() == DesktopColourScheme::kDark;
  return isDark ? std::optional<PropertyListValue>("Dark") : std::nullopt;
}

std::string LinuxUserDefaults::suitePath(const std::string& name) const {
  return folder_ + "/" + name + "/Settings.plist";
}

std::string LinuxUserDefaults::configurationFolder() {
  return baseFolder("XDG_CONFIG_HOME", "/.config").value_or("/.config");
}

}  // namespace kelvora::platform
