#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FanSetChoice.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Refusals.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/StoreForReading.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// In the order of BatteryState.
const std::vector<std::string>& batteryNames() {
  static const std::vector<std::string> names{"any", "battery", "adapter"};
  return names;
}

std::string batteryText(std::int16_t state) {
  const auto index = static_cast<std::size_t>(state);
  return index < batteryNames().size() ? batteryNames()[index] : std::to_string(state);
}

// Of the limit; none without the sensor.
std::optional<std::string> unitOf(const KVFanCondition& condition) {
  const KVSensorPtr sensor = condition.sensor();
  return sensor == nullptr ? std::nullopt : rawUnit(sensor->categoryType());
}

Json jsonCondition(const KVFanCondition& condition) {
  const KVFanSetPtr set = condition.fanSet();
  const auto unit = unitOf(condition);
  return {{"id", condition.objectID()},
          {"fanSet", set == nullptr ? Json(nullptr) : Json(set->name())},
          {"sensorKey", condition.sensorKey()},
          {"threshold", jsonNumber(condition.threshold())},
          {"unit", orNull(unit)},
          {"batteryState", condition.batteryState()},
          {"externalDisplayConnected", condition.externalDisplayConnected()},
          {"active", condition.active()},
          {"sensorIsStored", condition.sensor() != nullptr}};
}

std::vector<std::string> rowOf(const KVFanCondition& condition) {
  const KVFanSetPtr set = condition.fanSet();
  return {std::to_string(condition.objectID()),
          set == nullptr ? "no fan set" : printable(set->name()),
          printable(condition.sensorKey()) + " " +
              limitText(condition.threshold(), unitOf(condition)) +
              (condition.sensor() == nullptr ? " (no such sensor)" : ""),
          "battery: " + batteryText(condition.batteryState()),
          condition.externalDisplayConnected() ? "external display" : "any display",
          condition.active() ? "enabled" : "disabled"};
}

void writeCondition(const Options& options, StandardOutput& output,
                    const KVFanCondition& condition) {
  if (options.json) {
    writeJson(output, jsonCondition(condition));
  } else {
    writeText(output, table({rowOf(condition)}));
  }
}

KVFanConditionPtr requiredCondition(KVCoreDataStore& store, const std::string& id) {
  const auto conditions = readable(store.allFanConditions());
  const auto found = std::ranges::find_if(conditions, [&](const KVFanConditionPtr& condition) {
    return std::to_string(condition->objectID()) == id;
  });
  if (found == conditions.end()) {
    refuse(id, KVErrorInvalidInput, "'kelvora conditions' lists the fan conditions with their ids");
  }
  return *found;
}

bool isStored(KVCoreDataStore& store, const KVFanCondition& condition) {
  return std::ranges::any_of(
      readable(store.allFanConditions()),
      [&](const KVFanConditionPtr& stored) { return stored->objectID() == condition.objectID(); });
}

int runConditions(const Options& options, StandardOutput& output) {
  StoreForReading reading;
  Json list = Json::array();
  std::vector<std::vector<std::string>> rows;
  for (const KVFanConditionPtr& condition : reading.objects(&KVCoreDataStore::allFanConditions)) {
    list.push_back(jsonCondition(*condition));
    rows.push_back(rowOf(*condition));
  }
  if (options.json) {
    writeJson(output, {{"conditions", list}});
  } else {
    writeText(output, rows.empty() ? "no fan conditions ('kelvora conditions add' makes one)\n"
                                   : table(rows));
  }
  return kExitSuccess;
}

std::int16_t batteryStateIn(const Options& options) {
  const auto& names = batteryNames();
  const auto found = std::ranges::find(names, options.text("--battery"));
  return found == names.end() ? std::int16_t{kAnyBatteryState}
                              : static_cast<std::int16_t>(found - names.begin());
}

int runAddCondition(const Options& options, StandardOutput& output) {
  const double threshold =
      options.number("--threshold").value_or(std::numeric_limits<double>::quiet_NaN());
  if (!std::isfinite(threshold)) {
    refuse("--threshold", KVErrorInvalidInput, "it takes a number, e.g. 85");
  }
  KVCoreDataStore& store = KVDataManager::shared().coreDataStore();
  const KVFanSetPtr set = requiredFanSet(store, options.text("FANSET"));
  const KVSensorPtr sensor = requiredSensor(store, options.text("SENSOR"));
  const KVFanConditionPtr condition =
      store.createFanConditionWithFanSet(set, sensor, threshold, batteryStateIn(options),
                                         options.has("--external-display"), store.viewContext());
  if (condition == nullptr) {
    refuse(options.text("FANSET"), KVErrorCannotAddFanCondition, "it was removed");
  }
  save(store);
  // A set that another program removes meanwhile takes its conditions with it.
  if (!isStored(store, *condition)) {
    throw CommandError(kExitNothingRead, printable(options.text("FANSET")) +
                                             ": another program removed it meanwhile");
  }
  writeCondition(options, output, *condition);
  return kExitSuccess;
}

int runRemoveCondition(const Options& options, StandardOutput& output) {
  KVCoreDataStore& store = KVDataManager::shared().coreDataStore();
  const KVFanConditionPtr condition = requiredCondition(store, options.text("ID"));
  const Json removed = jsonCondition(*condition);
  const std::string text = "Removed " + table({rowOf(*condition)});
  store.viewContext()->deleteObject(condition);
  save(store);
  options.json ? writeJson(output, removed) : writeText(output, text);
  return kExitSuccess;
}

int setActive(const Options& options, StandardOutput& output, bool active) {
  KVCoreDataStore& store = KVDataManager::shared().coreDataStore();
  const KVFanConditionPtr condition = requiredCondition(store, options.text("ID"));
  condition->setActive(active);
  save(store);
  writeCondition(options, output, *condition);
  return kExitSuccess;
}

int runEnable(const Options& options, StandardOutput& output) {
  return setActive(options, output, true);
}

int runDisable(const Options& options, StandardOutput& output) {
  return setActive(options, output, false);
}

}  // namespace

std::vector<Command> conditionsCommands() {
  const Argument id{.name = "ID",
                    .description = "A condition's id, as 'kelvora conditions' lists it",
                    .need = Argument::Need::kRequired};
  const auto command = [&](const char* name, const char* description, auto* run) -> Command {
    return {.parent = "conditions",
            .name = name,
            .description = description,
            .example = std::string("kelvora conditions ") + name + " 8796109799425",
            .machine = MachineUse::kEnvironment,
            .arguments = {id},
            .run = run};
  };
  return {{.name = "conditions",
           .description = "List the conditions under which fan sets apply, or change them",
           .example = "kelvora conditions\n  kelvora conditions add Fast TC0P --threshold 85",
           .machine = MachineUse::kEnvironment,
           .run = runConditions},
          {.parent = "conditions",
           .name = "add",
           .description = "Add a condition under which a fan set applies",
           .example = "kelvora conditions add Fast TC0P --threshold 85 --battery adapter",
           .machine = MachineUse::kEnvironment,
           .arguments = {{.name = "FANSET",
                          .description = "A fan set's name or identifier",
                          .need = Argument::Need::kRequired},
                         {.name = "SENSOR",
                          .description = "A stored sensor's key",
                          .need = Argument::Need::kRequired},
                         {.name = "--threshold",
                          .kind = Argument::Kind::kNumber,
                          .description = "The value from which it holds, in °C, rpm, V, A or W",
                          .need = Argument::Need::kRequired},
                         {.name = "--battery",
                          .description = "The power source that it requires",
                          .choices = batteryNames()},
                         {.name = "--external-display",
                          .kind = Argument::Kind::kFlag,
                          .description = "It requires an external display"}},
           .run = runAddCondition},
          command("remove", "Remove a condition", &runRemoveCondition),
          command("enable", "Enable a condition", &runEnable),
          command("disable", "Disable a condition; it stays in the list", &runDisable)};
}

}  // namespace kelvora::tool
