#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/Sensor.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Notices.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Refusals.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/StoreForReading.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr char kList[] = "the list of rules";

using Unit = std::optional<std::string>;

// A rule's limit counts in the unit that a value of its sensor is shown in; none without the
// sensor.
Unit unitOfRule(const KVNotification& rule, KVCoreDataStore& store, KVSettings& settings) {
  if (rule.sensorKey == kAnySensorKey) {
    return limitUnit(SensorTypeTemperature, settings);
  }
  const KVSensorPtr sensor = rule.sensorKey ? store.getSensorByKey(*rule.sensorKey) : KVSensorPtr();
  return sensor == nullptr ? std::nullopt : limitUnit(sensor->categoryType(), settings);
}

Json jsonRule(const KVNotification& rule, const Unit& unit) {
  return {
      {"sensorKey", orNull(rule.sensorKey)},
      {"sensorName", orNull(rule.sensorName)},
      {"threshold", orNull(rule.threshold)},
      {"unit", orNull(unit)},
      {"active", rule.active.value_or(false)},
      {"repeat", rule.repeatMode()},
      {"repeatDelaySeconds", rule.repeatDelays()},
      {"lastTimeFired", rule.lastTimeFired ? Json(isoTime(*rule.lastTimeFired)) : Json(nullptr)}};
}

std::vector<std::string> rowOf(const KVNotification& rule, const Unit& unit) {
  const std::string repetition =
      rule.repeatMode() == 0 ? "once" : "every " + std::to_string(rule.repeatDelays()) + " s";
  return {printable(rule.sensorKey.value_or("no sensor")),
          printable(rule.sensorName.value_or("")),
          rule.threshold ? limitText(*rule.threshold, unit) : "no limit",
          repetition,
          rule.active.value_or(false) ? "active" : "not active",
          rule.lastTimeFired ? "fired " + isoTime(*rule.lastTimeFired) : ""};
}

/// What a command did to the rule that it prints.
enum class Done { kStored, kRemoved };

void writeRule(const Options& options, StandardOutput& output, const KVNotification& rule,
               Done done = Done::kStored) {
  KVSettingsSnapshot settings;
  const Unit unit = unitOfRule(rule, KVDataManager::shared().coreDataStore(), settings);
  if (options.json) {
    writeJson(output, jsonRule(rule, unit));
  } else {
    writeText(output, (done == Done::kRemoved ? "Removed " : "") + table({rowOf(rule, unit)}));
  }
}

// The rule of a key; ends the command without one.
KVNotification requiredRule(KVDataManager& manager, const std::string& key) {
  auto rule = manager.getOverheatNotificationBySensorKey(key);
  if (!rule) {
    refuse(key, KVErrorInvalidInput, "'kelvora rules' lists the rules");
  }
  return *std::move(rule);
}

void setThreshold(KVNotification& rule, const Options& options) {
  const auto threshold = options.number("--threshold");
  if (threshold && !std::isfinite(*threshold)) {
    refuse("--threshold", KVErrorInvalidInput, "it takes a number, e.g. 85");
  }
  rule.threshold = threshold ? threshold : rule.threshold;
}

void setRepeat(KVNotification& rule, const Options& options) {
  if (options.has("--repeat")) {
    rule.repeat = std::stoi(options.text("--repeat"));
  }
}

int runRules(const Options& options, StandardOutput& output) {
  StoreForReading reading;
  const auto rules = storedOverheatNotifications(reading.settings());
  Json list = Json::array();
  std::vector<std::vector<std::string>> rows;
  for (const KVNotification& rule : rules.value_or(std::vector<KVNotification>())) {
    const Unit unit = unitOfRule(rule, reading.store(), reading.settings());
    list.push_back(jsonRule(rule, unit));
    rows.push_back(rowOf(rule, unit));
  }
  if (options.json) {
    writeJson(output, {{"rules", list}});
  } else {
    writeText(output, rows.empty() ? "no rules ('kelvora rules add' makes one)\n" : table(rows));
  }
  return kExitSuccess;
}

int runAddRule(const Options& options, StandardOutput& output) {
  KVDataManager& manager = KVDataManager::shared();
  KVNotification rule;
  rule.sensorKey = options.text("SENSOR");
  if (rule.sensorKey != kAnySensorKey) {
    rule.sensorName = requiredSensor(manager.coreDataStore(), *rule.sensorKey)->name();
  }
  rule.active = true;
  rule.repeat = 0;
  setThreshold(rule, options);
  setRepeat(rule, options);
  if (!manager.addOverheatNotification(rule)) {
    const auto stored = storedOverheatNotifications(manager);
    if (stored && std::ranges::find(*stored, rule) != stored->end()) {
      refuse(*rule.sensorKey, KVErrorInvalidInput,
             "there is a rule for this sensor already; 'kelvora rules change' changes it");
    }
    requireStored(false, kList);
  }
  sendNotices();
  writeRule(options, output, rule);
  return kExitSuccess;
}

// A rule that is changed may fire at once, also if it has fired.
int runChange(const Options& options, StandardOutput& output) {
  KVDataManager& manager = KVDataManager::shared();
  const std::string key = options.text("SENSOR");
  if (!options.has("--threshold") && !options.has("--repeat") && !options.has("--active")) {
    refuse(key, KVErrorInvalidInput, "--threshold, --repeat or --active is needed");
  }
  KVNotification checked = requiredRule(manager, key);
  setThreshold(checked, options);
  const bool isStored = manager.changeOverheatNotification(key, [&](KVNotification& stored) {
    setThreshold(stored, options);
    setRepeat(stored, options);
    if (options.has("--active")) {
      stored.active = options.text("--active") == "yes";
    }
    stored.lastTimeFired.reset();
    checked = stored;
  });
  requireStored(isStored, kList);
  sendNotices();
  writeRule(options, output, checked);
  return kExitSuccess;
}

int runRemoveRule(const Options& options, StandardOutput& output) {
  KVDataManager& manager = KVDataManager::shared();
  const KVNotification rule = requiredRule(manager, options.text("SENSOR"));
  requireStored(manager.removeOverheatNotification(*rule.sensorKey), kList);
  sendNotices();
  writeRule(options, output, rule, Done::kRemoved);
  return kExitSuccess;
}

Argument thresholdArgument(Argument::Need need) {
  return {.name = "--threshold",
          .kind = Argument::Kind::kNumber,
          .description = "The limit, in the unit that is chosen now (°C or °F)",
          .need = need};
}

}  // namespace

std::vector<Command> rulesCommands() {
  const Argument sensor{.name = "SENSOR",
                        .description = "A sensor's key, or any-sensor for the hottest of all",
                        .need = Argument::Need::kRequired};
  const Argument repeat{.name = "--repeat",
                        .description = "0 once, 1 to 5 again every 10, 30, 60, 120 or 300 seconds",
                        .typeName = "NUMBER",
                        .choices = {"0", "1", "2", "3", "4", "5"}};
  const Argument active{
      .name = "--active", .description = "Whether the rule is enabled", .choices = {"yes", "no"}};
  return {{.name = "rules",
           .description = "List the overheat rules, or change them",
           .example = "kelvora rules\n  kelvora rules add TC0P --threshold 85 --repeat 3",
           .machine = MachineUse::kEnvironment,
           .run = runRules},
          {.parent = "rules",
           .name = "add",
           .description = "Add a rule for a stored sensor",
           .example = "kelvora rules add any-sensor --threshold 95",
           .machine = MachineUse::kEnvironment,
           .arguments = {sensor, thresholdArgument(Argument::Need::kRequired), repeat},
           .run = runAddRule},
          {.parent = "rules",
           .name = "change",
           .description = "Change a rule, which may then fire at once",
           .example = "kelvora rules change TC0P --threshold 90 --active yes",
           .machine = MachineUse::kEnvironment,
           .arguments = {sensor, thresholdArgument(Argument::Need::kOptional), repeat, active},
           .run = runChange},
          {.parent = "rules",
           .name = "remove",
           .description = "Remove a rule",
           .example = "kelvora rules remove TC0P",
           .machine = MachineUse::kEnvironment,
           .arguments = {sensor},
           .run = runRemoveRule}};
}

}  // namespace kelvora::tool
