#include "KelvoraCore/KVSettingsFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVSetting.h"

#include "base/PropertyListFile.h"
#include "ports/Ports.h"
#include "settings/SettingValue.h"

namespace kelvora {

namespace {

namespace fs = std::filesystem;

std::vector<std::string> mistypedIn(const PropertyListValue::Dictionary& values) {
  std::vector<std::string> properties;
  for (const KVSetting& setting : allSettings()) {
    const auto found = values.find(std::string(setting.key));
    if (found != values.end() && !asSettingType(setting.type, found->second)) {
      properties.emplace_back(setting.property);
    }
  }
  return properties;
}

void check(KVSettingsFile& file) {
  // Opening a pipe, say, would wait for whoever writes to it.
  if (std::error_code error; !fs::is_regular_file(file.path, error)) {
    file.fault = "not a file";
    return;
  }
  const PropertyListReading reading = readPropertyListFile(file.path);
  const auto* values = reading.value ? reading.value->as<PropertyListValue::Dictionary>() : nullptr;
  if (values == nullptr) {
    file.fault = reading.value ? "not a dictionary" : reading.failure;
    return;
  }
  file.mistyped = mistypedIn(*values);
}

// A link is never followed; what cannot be opened for writing cannot be locked.
std::string lockFaultOf(const std::string& path) {
  std::error_code error;
  const fs::path lock = fs::weakly_canonical(path, error).string() + ".lock";
  const fs::file_type type = fs::symlink_status(lock, error).type();
  if (type == fs::file_type::not_found) {
    return "";
  }
  if (type != fs::file_type::regular) {
    return "the lock beside it: not a file";
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(lock.c_str(), "r+b"),
                                                             std::fclose);
  if (file == nullptr) {
    return "the lock beside it: " + std::generic_category().message(errno);
  }
  return "";
}

}  // namespace

std::optional<KVSettingsFile> settingsFile(Platform& platform) {
  const auto path = platform.userDefaults().fileOfSuite(kApplicationGroupIdentifier);
  if (!path) {
    return std::nullopt;
  }
  KVSettingsFile file{*path, platform.files().exists(*path), "", lockFaultOf(*path), {}};
  if (file.exists) {
    check(file);
  }
  return file;
}

}  // namespace kelvora
