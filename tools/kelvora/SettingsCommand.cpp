#include <cstddef>
#include <optional>
#include <string>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSettings.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SettingText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

struct SettingState {
  std::optional<PropertyListValue> value;
  bool isDefault = true;  ///< not stored, or stored as what it would be anyway
};

// Looking must not store defaults, as the getters of some settings do.
SettingState stateOf(const KVSetting& setting) {
  KVSettings& settings = KVSettings::shared();
  const auto fallback = settings.defaultValue(setting);
  if (!settings.isStored(setting)) {
    return {fallback, true};
  }
  const auto value = settings.value(setting);
  return {value, value == fallback};
}

Json jsonSetting(const KVSetting& setting, const SettingState& state) {
  return {{"property", setting.property},
          {"key", setting.key},
          {"value", state.value ? jsonValue(*state.value) : Json(nullptr)},
          {"isDefault", state.isDefault}};
}

const KVSetting& settingNamed(const std::string& name) {
  const KVSetting* setting = settingOfProperty(name);
  if (setting == nullptr) {
    throw CommandError(kExitUsage, printable(name) +
                                       ": no such setting ('kelvora settings' lists "
                                       "them)");
  }
  return *setting;
}

void writeSetting(const Options& options, const KVSetting& setting,
                  platform::StandardOutput& output) {
  const SettingState state = stateOf(setting);
  if (options.json) {
    writeJson(output, jsonSetting(setting, state));
  } else {
    writeText(output, settingText(state.value) + "\n");
  }
}

// The other programs hear it from the main queue.
void sendNotices() {
  while (KVMainQueue::runPending() > 0) {
  }
}

// What other programs find, not what this one remembers.
void requireStored(const KVSetting& setting, const std::optional<PropertyListValue>& value) {
  KVSettings afresh;
  const bool isAsWanted = value ? afresh.isStored(setting) && afresh.value(setting) == value
                                : !afresh.isStored(setting);
  if (!isAsWanted) {
    throw CommandError(kExitNothingRead, std::string(setting.property) +
                                             ": could not be written ('kelvora doctor' says more)");
  }
}

void store(const KVSetting& setting, const std::optional<PropertyListValue>& value) {
  KVSettings& settings = KVSettings::shared();
  // The language is announced only when it changes.
  const bool isUnchanged = settings.isStored(setting) && settings.value(setting) == value;
  if (setting.id != KVSettingID::kCurrentLanguage || !isUnchanged) {
    settings.setValue(setting, value);
  }
  sendNotices();
  requireStored(setting, value);
}

}  // namespace

int runSettings(const Options& options, platform::StandardOutput& output) {
  constexpr std::size_t kPropertyWidth = 30;
  constexpr std::size_t kKeyWidth = 48;
  const Style style(output);
  Json list = Json::array();
  std::string text;
  for (const KVSetting& setting : allSettings()) {
    const SettingState state = stateOf(setting);
    list.push_back(jsonSetting(setting, state));
    text += style.heading(fitted(setting.property, kPropertyWidth)) +
            style.faint(fitted(setting.key, kKeyWidth)) + settingText(state.value) +
            (state.isDefault ? style.faint("  (default)") : "") + "\n";
  }
  if (options.json) {
    writeJson(output, {{"settings", list}});
  } else {
    writeText(output, text);
  }
  return kExitSuccess;
}

int runSettingsGet(const Options& options, platform::StandardOutput& output) {
  writeSetting(options, settingNamed(options.name), output);
  return kExitSuccess;
}

int runSettingsSet(const Options& options, platform::StandardOutput& output) {
  const KVSetting& setting = settingNamed(options.name);
  if (setting.type == KVSettingType::kData) {
    throw CommandError(kExitUsage,
                       options.name + " cannot be set here: only the programs can write it");
  }
  const auto value = parsedSetting(setting, options.value);
  if (!value) {
    throw CommandError(kExitUsage, options.name + " takes " + allowedValues(setting) + ", not \"" +
                                       printable(options.value) + "\"");
  }
  store(setting, value);
  writeSetting(options, setting, output);
  return kExitSuccess;
}

int runSettingsUnset(const Options& options, platform::StandardOutput& output) {
  const KVSetting& setting = settingNamed(options.name);
  store(setting, std::nullopt);
  writeSetting(options, setting, output);
  return kExitSuccess;
}

}  // namespace kelvora::tool
