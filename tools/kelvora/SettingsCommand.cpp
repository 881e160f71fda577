#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/Sensor.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/Notices.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/SettingText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

struct SettingState {
  std::optional<PropertyListValue> value;
  bool isDefault = true;  ///< not stored, or stored as what it would be anyway
};

SettingState stateOf(const KVSetting& setting, KVSettingsSnapshot& settings) {
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
    std::vector<std::string> names;
    for (const KVSetting& known : allSettings()) {
      names.emplace_back(known.property);
    }
    const auto near = nearName(name, names);
    throw CommandError(kExitUsage, printable(name) + ": no such setting" +
                                       (near ? "; did you mean " + *near + "?" : "") +
                                       " ('kelvora settings' lists them)");
  }
  return *setting;
}

void writeSetting(const Options& options, const KVSetting& setting, StandardOutput& output) {
  KVSettingsSnapshot settings;
  const SettingState state = stateOf(setting, settings);
  if (options.json) {
    writeJson(output, jsonSetting(setting, state));
  } else {
    writeText(output, settingText(state.value) + "\n");
  }
}

struct SettingLine {
  std::string_view property;
  std::string_view key;
  std::string value;
  std::string_view remark;
};

constexpr std::size_t kSettingGap = 2;

std::string_view remarkOn(const KVSetting& setting, const SettingState& state) {
  if (!state.isDefault) {
    return "";
  }
  const bool isComputedLater = !state.value && setting.defaultValue == KVSettingDefault::kComputed;
  return isComputedLater ? "  (computed when asked)" : "  (default)";
}

std::size_t valueWidth(const SettingLine& line) {
  return displayWidth(line.value) + line.remark.size();
}

// Where a terminal is too narrow for everything, the keys give way first: they are cut, or left
// out once too little of them could be read. 0 columns is as wide as it takes.
std::size_t fittingKeyWidth(std::size_t wanted, std::size_t others, std::size_t columns) {
  constexpr std::size_t kLeastKey = 12;
  if (columns == 0 || others + wanted <= columns) {
    return wanted;
  }
  return others + kLeastKey <= columns ? columns - others : 0;
}

/// The columns of the list. A value that is unusually long narrows the key of its own line only.
struct SettingColumns {
  SettingColumns(const std::vector<SettingLine>& lines, std::size_t terminalWidth)
      : terminal(terminalWidth) {
    std::size_t value = 0;
    for (const SettingLine& line : lines) {
      property = std::max(property, displayWidth(line.property));
      key = std::max(key, displayWidth(line.key));
      value = valueWidth(line) > kMostValue ? value : std::max(value, valueWidth(line));
    }
    key = fittingKeyWidth(key, property + kSettingGap + kSettingGap + value, terminal);
  }
  std::size_t keyWidth(const SettingLine& line) const {
    return fittingKeyWidth(key, property + kSettingGap + kSettingGap + valueWidth(line), terminal);
  }
  static constexpr std::size_t kMostValue = 32;
  std::size_t terminal;
  std::size_t property = 0;
  std::size_t key = 0;
};

std::string rendered(const std::vector<SettingLine>& lines, std::size_t terminal,
                     const Style& style) {
  const std::string gap(kSettingGap, ' ');
  const SettingColumns columns(lines, terminal);
  std::string text;
  for (const SettingLine& line : lines) {
    const std::size_t key = columns.keyWidth(line);
    text += style.heading(fitted(line.property, columns.property)) + gap +
            (key == 0 ? "" : style.faint(fitted(line.key, key)) + gap) + line.value +
            (line.remark.empty() ? "" : style.faint(line.remark)) + "\n";
  }
  return text;
}

// Reads without storing defaults.
std::optional<std::string> unitOfRules() {
  KVSettingsSnapshot settings;
  return limitUnit(SensorTypeTemperature, settings);
}

// The numbers of the rules stay, but they mean another temperature.
void warnOfRules() {
  KVSettingsSnapshot settings;
  const auto rules = storedOverheatNotifications(settings);
  if (rules && !rules->empty()) {
    say("the limits of overheat rules for temperatures now count in " + *unitOfRules() +
        " ('kelvora rules' lists them)");
  }
}

void store(const KVSetting& setting, const std::optional<PropertyListValue>& value) {
  KVSettings& settings = KVSettings::shared();
  const auto unit = unitOfRules();
  // The language is announced only when it changes.
  const bool isUnchanged = settings.isStored(setting) && settings.value(setting) == value;
  if (setting.id == KVSettingID::kCurrentLanguage && isUnchanged) {
    return;
  }
  if (!settings.setValue(setting, value)) {
    throw CommandError(kExitNothingRead, std::string(setting.property) +
                                             ": could not be written ('kelvora doctor' says more)");
  }
  sendNotices();
  if (unitOfRules() != unit) {
    warnOfRules();
  }
}

int runSettings(const Options& options, StandardOutput& output) {
  Json list = Json::array();
  std::vector<SettingLine> lines;
  KVSettingsSnapshot settings;
  for (const KVSetting& setting : allSettings()) {
    const SettingState state = stateOf(setting, settings);
    list.push_back(jsonSetting(setting, state));
    const std::string value = settingText(state.value);
    lines.push_back(
        {setting.property, setting.key, value.empty() ? "\"\"" : value, remarkOn(setting, state)});
  }
  if (options.json) {
    writeJson(output, {{"settings", list}});
  } else {
    writeText(output, rendered(lines, static_cast<std::size_t>(output.columns()), Style(output)));
  }
  return kExitSuccess;
}

int runGet(const Options& options, StandardOutput& output) {
  writeSetting(options, settingNamed(options.text("NAME")), output);
  return kExitSuccess;
}

int runSet(const Options& options, StandardOutput& output) {
  const KVSetting& setting = settingNamed(options.text("NAME"));
  if (setting.type == KVSettingType::kData) {
    throw CommandError(kExitUsage, std::string(setting.property) +
                                       " cannot be set here: 'kelvora rules' changes it");
  }
  const auto value = parsedSetting(setting, options.text("VALUE"));
  if (!value) {
    throw CommandError(kExitUsage, std::string(setting.property) + " takes " +
                                       allowedValues(setting) + ", not \"" +
                                       printable(options.text("VALUE")) + "\"");
  }
  store(setting, value);
  writeSetting(options, setting, output);
  return kExitSuccess;
}

int runUnset(const Options& options, StandardOutput& output) {
  const KVSetting& setting = settingNamed(options.text("NAME"));
  store(setting, std::nullopt);
  writeSetting(options, setting, output);
  return kExitSuccess;
}

}  // namespace

std::vector<Command> settingsCommands() {
  const Argument name{.name = "NAME",
                      .description = "A setting that 'kelvora settings' lists",
                      .need = Argument::Need::kRequired};
  const Argument value{
      .name = "VALUE", .description = "What to set it to", .need = Argument::Need::kRequired};
  return {{.name = "settings",
           .description = "List the settings that the programs share, or change one",
           .example = "kelvora settings\n  kelvora settings set tempUnitCelsius false",
           .machine = MachineUse::kEnvironment,
           .run = runSettings},
          {.parent = "settings",
           .name = "get",
           .description = "Show the value of one setting",
           .example = "kelvora settings get updateFrequency",
           .machine = MachineUse::kEnvironment,
           .arguments = {name},
           .run = runGet},
          {.parent = "settings",
           .name = "set",
           .description = "Change a setting, in every program that runs",
           .example = "kelvora settings set currentLanguage de\n"
                      "  kelvora settings set menuSensors '[\"TC0P\", \"AverageCPU\"]'",
           .machine = MachineUse::kEnvironment,
           .arguments = {name, value},
           .run = runSet},
          {.parent = "settings",
           .name = "unset",
           .description = "Forget the value of a setting, so that its default counts",
           .example = "kelvora settings unset fileLoggingPath",
           .machine = MachineUse::kEnvironment,
           .arguments = {name},
           .run = runUnset}};
}

}  // namespace kelvora::tool
