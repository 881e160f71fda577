#include "KelvoraCore/KVSettingsFile.h"

#include <filesystem>
#include <system_error>

#include "KelvoraCore/KVApplicationGroup.h"

#include "base/PropertyListFile.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

std::string faultOf(const std::string& path) {
  // Opening a pipe, say, would wait for whoever writes to it.
  if (std::error_code error; !std::filesystem::is_regular_file(path, error)) {
    return "not a file";
  }
  const PropertyListReading reading = readPropertyListFile(path);
  if (!reading.value) {
    return reading.failure;
  }
  return reading.value->as<PropertyListValue::Dictionary>() == nullptr ? "not a dictionary" : "";
}

}  // namespace

std::optional<KVSettingsFile> settingsFile(Platform& platform) {
  const auto path = platform.userDefaults().fileOfSuite(kApplicationGroupIdentifier);
  if (!path) {
    return std::nullopt;
  }
  const bool exists = platform.files().exists(*path);
  return KVSettingsFile{*path, exists, exists ? faultOf(*path) : ""};
}

}  // namespace kelvora
