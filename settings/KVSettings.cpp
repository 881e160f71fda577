#include "KelvoraCore/KVSettings.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVUtils.h"

#include "base/Log.h"
#include "ports/Ports.h"
#include "settings/SettingValue.h"

namespace kelvora {

namespace {

constexpr const char* kOlderFanSetKey = "KVFanControllerFanSetNameKey";

std::optional<PropertyListValue> constantDefault(KVSettingDefault value) {
  switch (value) {
    case KVSettingDefault::kFalse:
      return false;
    case KVSettingDefault::kTrue:
      return true;
    case KVSettingDefault::kZero:
      return 0;
    case KVSettingDefault::kNone:
    case KVSettingDefault::kComputed:
      break;
  }
  return std::nullopt;
}

// Logs it when a suite would return another text than the one given.
bool isKept(const KVSetting& setting, const PropertyListValue& value) {
  const bool isWhole = isStoredAsItIs(value);
  if (!isWhole) {
    log("Settings: " + std::string(setting.key) + ": a text that is not UTF-8, or holds a NUL");
  }
  return isWhole;
}

}  // namespace

KVSettings::KVSettings(Platform& platform)
    : KVSettings(platform, platform.userDefaults().suite(kApplicationGroupIdentifier)) {}

KVSettings::KVSettings(Platform& platform, std::unique_ptr<platform::UserDefaultsSuite> suite)
    : platform_(platform), suite_(std::move(suite)) {}

KVSettings::~KVSettings() = default;

KVSettings& KVSettings::shared() {
  // Never destroyed: other objects that live as long as the process may still use it at its end.
  static KVSettings& settings = *new KVSettings();
  return settings;
}

std::optional<PropertyListValue> KVSettings::stored(const KVSetting& setting) {
  const auto value = suite_->object(setting.key);
  return value ? asSettingType(setting.type, *value) : std::nullopt;
}

bool KVSettings::isStored(const KVSetting& setting) { return stored(setting).has_value(); }

std::optional<PropertyListValue> KVSettings::value(const KVSetting& setting) {
  const auto found = suite_->object(setting.key);
  if (found) {
    if (auto value = asSettingType(setting.type, *found)) {
      return value;
    }
  }
  auto fallback = defaultValue(setting);
  if (!found && fallback && setting.isDefaultWrittenBack) {
    return storeDefault(setting, *std::move(fallback));
  }
  return fallback;
}

// Another program may have stored a value since this one found none.
PropertyListValue KVSettings::storeDefault(const KVSetting& setting, PropertyListValue fallback) {
  const auto held = suite_->setObjectIfAbsent(setting.key, fallback);
  return (held ? asSettingType(setting.type, *held) : std::nullopt).value_or(std::move(fallback));
}

void KVSettings::storeIfNotStored(const KVSetting& setting, const PropertyListValue& value) {
  suite_->changeObject(
      setting.key,
      [&](const std::optional<PropertyListValue>& found) {
        const bool isHeld = found && asSettingType(setting.type, *found);
        return isHeld ? std::nullopt : std::optional(value);
      },
      platform::SuiteWrite::kDefault);
}

std::optional<PropertyListValue> KVSettings::defaultValue(const KVSetting& setting) {
  return setting.defaultValue == KVSettingDefault::kComputed
             ? computedDefault(setting)
             : constantDefault(setting.defaultValue);
}

bool KVSettings::setValue(const KVSetting& setting, std::optional<PropertyListValue> value) {
  if (value && !asSettingType(setting.type, *value)) {
    throw std::invalid_argument("KVSettings: a value of another type for " +
                                std::string(setting.property));
  }
  if (value && !isKept(setting, *value)) {
    return false;
  }
  const bool written =
      value ? suite_->setObject(setting.key, *value) : suite_->removeObject(setting.key);
  return written && announced(setting, value);
}

bool KVSettings::announced(const KVSetting& setting,
                           const std::optional<PropertyListValue>& value) {
  if (!setting.notification.empty()) {
    announce(setting, value);
  }
  return true;
}

bool KVSettings::changeValue(const KVSetting& setting, const Change& change) {
  std::optional<PropertyListValue> next;
  const auto held = suite_->changeObject(
      setting.key,
      [&](const std::optional<PropertyListValue>& found) {
        next = change(found ? asSettingType(setting.type, *found) : std::nullopt);
        return next;
      },
      platform::SuiteWrite::kChoice);
  return next && held && announced(setting, next);
}

bool KVSettings::announceDefault(const KVSetting& setting, const PropertyListValue& value) {
  bool isAbsent = false;
  const auto held = suite_->changeObject(
      setting.key,
      [&](const std::optional<PropertyListValue>& found) {
        isAbsent = !found;
        return isAbsent ? std::optional(value) : std::nullopt;
      },
      platform::SuiteWrite::kDefault);
  return isAbsent && held && announced(setting, value);
}

void KVSettings::announce(const KVSetting& setting, const std::optional<PropertyListValue>& value) {
  const std::string name(setting.notification);
  if (setting.hasUserInfo && value) {
    KVUtils::broadcastNotification(name, {{std::string(setting.key), *value}}, platform_);
  } else {
    KVUtils::broadcastNotification(name, platform_);
  }
}

std::optional<PropertyListValue> KVSettings::computedDefault(const KVSetting& setting) {
  switch (setting.id) {
    case KVSettingID::kManualFanSetId: {
      const auto older = suite_->object(kOlderFanSetKey);
      return older ? asSettingType(KVSettingType::kText, *older) : std::nullopt;
    }
    case KVSettingID::kFileLoggingPath: {
      const auto folder = KVUtils::documentsPath(platform_);
      return folder ? std::optional<PropertyListValue>(*folder + "/Kelvora Log.csv") : std::nullopt;
    }
    case KVSettingID::kCurrentLanguage:
      return preferredLanguage();
    default:
      return std::nullopt;
  }
}

std::string KVSettings::preferredLanguage() const {
  const auto preferred = platform_.mainBundle().preferredLocalizations();
  const auto& all = allLanguages();
  const bool known =
      !preferred.empty() && std::find(all.begin(), all.end(), preferred.front()) != all.end();
  return known ? preferred.front() : all.front();
}

const std::vector<std::string>& KVSettings::allLanguages() const {
  static const std::vector<std::string> languages{"en", "fr", "de",      "es",
                                                  "tr", "vi", "zh-Hans", "zh-Hant"};
  return languages;
}

bool KVSettings::boolean(KVSettingID id) {
  const auto found = value(settingOf(id));
  return found && found->boolValue();
}

std::int64_t KVSettings::integer(KVSettingID id) {
  const auto found = value(settingOf(id));
  return found ? found->integerValue() : 0;
}

std::optional<std::string> KVSettings::text(KVSettingID id) {
  const auto found = value(settingOf(id));
  const auto* text = found ? found->as<std::string>() : nullptr;
  return text == nullptr ? std::nullopt : std::optional(*text);
}

bool KVSettings::set(KVSettingID id, std::optional<PropertyListValue> value) {
  return setValue(settingOf(id), std::move(value));
}

std::string KVSettings::currentLanguage() {
  std::string code = text(KVSettingID::kCurrentLanguage).value_or(allLanguages().front());
  // A default that could not be stored must not keep `setCurrentLanguage` from storing it.
  const bool isHeld = isStored(settingOf(KVSettingID::kCurrentLanguage));
  const std::lock_guard lock(languageMutex_);
  language_ = isHeld ? std::optional(code) : std::nullopt;
  return code;
}

bool KVSettings::setCurrentLanguage(const std::string& code) {
  {
    const std::lock_guard lock(languageMutex_);
    if (std::exchange(language_, code) == code) {
      return true;
    }
  }
  const bool written = set(KVSettingID::kCurrentLanguage, code);
  if (!written) {
    const std::lock_guard lock(languageMutex_);
    language_.reset();
  }
  return written;
}

double KVSettings::updateInterval() {
  switch (updateFrequency()) {
    case 1:
      return 5.0;
    case 2:
      return 10.0;
    default:
      return 2.0;
  }
}

}  // namespace kelvora
