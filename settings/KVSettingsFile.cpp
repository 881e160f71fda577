#include "KelvoraCore/KVSettingsFile.h"

#include <random>
#include <utility>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVSetting.h"

#include "ports/Ports.h"
#include "settings/SettingValue.h"

namespace kelvora {

namespace {

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

}  // namespace

std::optional<KVSettingsFile> settingsFile(Platform& platform) {
  auto file = platform.userDefaults().fileOfSuite(kApplicationGroupIdentifier);
  if (!file) {
    return std::nullopt;
  }
  return KVSettingsFile{std::move(file->path),    file->exists,
                        std::move(file->fault),   std::move(file->lockFault),
                        mistypedIn(file->values), std::move(file->target),
                        std::move(file->obstacle)};
}

bool canStoreSettings(Platform& platform) {
  const auto suite = platform.userDefaults().suite(kApplicationGroupIdentifier);
  const std::string key = "KVTrial-" + std::to_string(std::random_device()());
  const bool isStored =
      suite->setObject(key, true) && suite->object(key) == PropertyListValue(true);
  return suite->removeObject(key) && isStored;
}

}  // namespace kelvora
