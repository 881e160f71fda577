#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/KVError.h"
#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/SensorController.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Notices.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorTypes.h"
#include "tools/kelvora/StoreForReading.h"
#include "tools/kelvora/StoredCategories.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kKeyLength = 4;

// Fans are always found, so there is none to add.
bool canBeAdded(const SensorTypeRow& row) { return row.type != SensorTypeFan; }

Json jsonCustom(const KVSensor& sensor) {
  const auto* const row =
      std::ranges::find(kSensorTypes, sensor.categoryType(), &SensorTypeRow::type);
  const bool isKnown = row != std::end(kSensorTypes) && canBeAdded(*row);
  return {{"key", sensor.key()},
          {"name", sensor.name()},
          {"value", jsonNumber(sensor.value())},
          {"unit", isKnown ? Json(row->unit) : Json(nullptr)},
          {"type", isKnown ? Json(row->type) : Json(nullptr)}};
}

std::string customText(const KVSensor& sensor, KVSettings& settings) {
  return fitted(printable(sensor.key()), kKeyLength) + "  " + fitted(printable(sensor.name()), 24) +
         "  " + rightAligned(sensor.fullStringValue(settings), 10) + "\n";
}

// A refusal in the words of the library.
[[noreturn]] void refuseSensor(const std::string& word, const KVError& error) {
  throw CommandError(kExitUsage, printable(word) + ": " + error.localizedDescription());
}

[[noreturn]] void refuseSensor(const std::string& word, KVErrorCode code) {
  KVSettingsSnapshot settings;  // a refusal stores no language
  refuseSensor(word, KVError::errorWithCode(code, settings));
}

// An SMC has keys of four characters.
bool isSMCKey(std::string_view key) {
  return key.size() == kKeyLength &&
         std::ranges::all_of(key, [](char letter) { return letter > ' ' && letter <= '~'; });
}

// Opened for writing as the command will need it, so that an older file is brought up to date.
KVCoreDataStore& readableStore(KVDataManager& manager) {
  KVCoreDataStore& store = manager.coreDataStore();
  readable(store.allCategories());
  return store;
}

// What this Mac reads for the key now; 0 where it reads nothing.
double currentReading(const std::string& key, std::uint64_t type) {
  return Platform::current().hasSensorHardware()
             ? SensorController().getSensorValueByKey(key, type, SensorSourceSMC, {})
             : 0;
}

// The categories of a new account come with its first sensors.
void makeCategory(KVCoreDataStore& store, const SensorTypeRow& type) {
  if (store.getCategoryWithType(static_cast<std::int64_t>(type.type)) == nullptr) {
    if (const auto made =
            store.createOrUpdateCategoryWithName(type.category, store.viewContext())) {
      made->setType(static_cast<std::int16_t>(type.type));
    }
  }
}

void requireDone(const std::string& key, bool done, const std::optional<KVError>& error) {
  sendNotices();
  if (!done) {
    constexpr std::int64_t kGeneral = 0;
    if (error->code == kGeneral) {
      throw CommandError(kExitNothingRead, printable(key) + ": " + error->localizedDescription() +
                                               " ('kelvora doctor' says more)");
    }
    refuseSensor(key, *error);
  }
}

void report(const Options& options, const KVSensor& sensor, StandardOutput& output) {
  if (options.json) {
    writeJson(output, jsonCustom(sensor));
  } else {
    KVSettingsSnapshot settings;
    writeText(output, customText(sensor, settings));
  }
}

int runCustom(const Options& options, StandardOutput& output) {
  Json list = Json::array();
  std::string text;
  StoreForReading reading;
  for (const KVSensorPtr& sensor : reading.objects(&KVCoreDataStore::allSensors)) {
    if (sensor->isCustom()) {
      list.push_back(jsonCustom(*sensor));
      text += customText(*sensor, reading.settings());
    }
  }
  if (options.json) {
    writeJson(output, {{"sensors", list}});
  } else {
    writeText(output, text.empty() ? "There are no sensors of your own.\n" : text);
  }
  return kExitSuccess;
}

int runAddCustom(const Options& options, StandardOutput& output) {
  const std::string key = options.text("KEY");
  const std::string name = options.text("NAME");
  const auto value = options.number("--value");
  if (!isSMCKey(key)) {
    refuseSensor(key, KVErrorInvalidSensorKey);
  }
  if (KVExtension::isBlank(name) || !isValidUTF8(name) || (value && !std::isfinite(*value))) {
    refuseSensor(key, KVErrorInvalidInput);
  }
  KVDataManager manager;
  KVCoreDataStore& store = readableStore(manager);
  if (store.getSensorByKey(key) != nullptr) {
    refuseSensor(key, KVErrorDuplicatedSensor);
  }
  const SensorTypeRow& type =
      *std::ranges::find(kSensorTypes, options.text("--type"),
                         [](const SensorTypeRow& row) { return std::string(row.name); });
  makeCategory(store, type);
  manager.addCustomSensor(
      {{"key", key},
       {"name", name},
       {"category_type", static_cast<std::int64_t>(type.type)},
       {"value", value ? *value : currentReading(key, type.type)}},
      [&](bool done, const std::optional<KVError>& error) { requireDone(key, done, error); });
  joinCategories(store, type.category);  // another program may have made it at the same time
  const KVSensorPtr added = store.getSensorByKey(key);
  if (added == nullptr) {
    throw CommandError(kExitNothingRead, printable(key) + ": another program removed it meanwhile");
  }
  report(options, *added, output);
  return kExitSuccess;
}

// The user's own sensor comes before one that was found under the same key.
KVSensorPtr sensorToRemove(KVCoreDataStore& store, const std::string& key) {
  auto own =
      store.sensorWhere(Predicate("key = %@ && isCustom = TRUE", {key}), store.viewContext());
  return own != nullptr ? own : store.getSensorByKey(key);
}

int runRemoveCustom(const Options& options, StandardOutput& output) {
  const std::string key = options.text("KEY");
  if (!StoreForReading::exists()) {
    refuseSensor(key, KVErrorInvalidSensorKey);
  }
  KVDataManager manager;
  const KVSensorPtr sensor = sensorToRemove(readableStore(manager), key);
  if (sensor == nullptr) {
    refuseSensor(key, KVErrorInvalidSensorKey);
  }
  const Json removed = jsonCustom(*sensor);
  const std::string name = sensor->name();
  manager.removeCustomSensor(sensor, [&](bool done, const std::optional<KVError>& error) {
    requireDone(key, done, error);
  });
  if (options.json) {
    writeJson(output, removed);
  } else {
    writeText(output, "Removed " + printable(key) + " (" + printable(name) + ")\n");
  }
  return kExitSuccess;
}

std::vector<std::string> typeNames() {
  std::vector<std::string> names;
  for (const SensorTypeRow& row : kSensorTypes) {
    if (canBeAdded(row)) {
      names.emplace_back(row.name);
    }
  }
  return names;
}

}  // namespace

std::vector<Command> customCommands() {
  return {{.name = "custom",
           .description = "List the sensors that you added, or add or remove one",
           .example = "kelvora custom\n  kelvora custom add TCXX \"Desk\" --type temperature",
           .machine = MachineUse::kEnvironment,
           .run = runCustom},
          {.parent = "custom",
           .name = "add",
           .description = "Add a sensor that the programs do not find by themselves",
           .example = "kelvora custom add TCXX \"Desk\" --type temperature\n"
                      "  kelvora custom add PCXX \"Lamp\" --type power --value 12.5",
           .machine = MachineUse::kEnvironment,
           .arguments = {{.name = "KEY",
                          .description = "Its SMC key: four characters",
                          .need = Argument::Need::kRequired},
                         {.name = "NAME",
                          .description = "What it is called",
                          .need = Argument::Need::kRequired},
                         {.name = "--type",
                          .description = "What it measures",
                          .need = Argument::Need::kRequired,
                          .choices = typeNames()},
                         {.name = "--value",
                          .kind = Argument::Kind::kNumber,
                          .description = "Its first value in °C, V, A or W; without it, what this "
                                         "Mac reads now, or 0"}},
           .run = runAddCustom},
          {.parent = "custom",
           .name = "remove",
           .description = "Remove a sensor that you added, with its history",
           .example = "kelvora custom remove TCXX",
           .machine = MachineUse::kEnvironment,
           .arguments = {{.name = "KEY",
                          .description = "Its key, as 'kelvora custom' lists it",
                          .need = Argument::Need::kRequired}},
           .run = runRemoveCustom}};
}

}  // namespace kelvora::tool
