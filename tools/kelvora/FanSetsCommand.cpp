#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FanChangeLock.h"
#include "tools/kelvora/FanSetChoice.h"
#include "tools/kelvora/FanSpeeds.h"
#include "tools/kelvora/Refusals.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SettingText.h"
#include "tools/kelvora/StoreForReading.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::chrono::seconds kLongestWait{10};
constexpr char kChoice[] = "the choice of a fan set";

Json jsonSet(const KVFanSet& set) {
  const auto speeds = set.valueDict();
  return {{"identifier", set.identifier()},
          {"name", set.name()},
          {"speeds", speeds ? jsonValue(*speeds) : Json(nullptr)},
          {"isManual", set.isManualFanSet()}};
}

std::vector<std::string> rowOf(const KVFanSet& set, const KVFanSetPtr& applied) {
  const auto speeds = set.valueDict();
  const bool isApplied = applied != nullptr && applied->objectID() == set.objectID();
  return {printable(set.name()), printable(set.identifier()),
          speeds ? speedsText(*speeds) : "no speeds",
          std::string(isApplied ? "applies" : "") + (set.isManualFanSet() ? " by hand" : "")};
}

void writeSet(const Options& options, StandardOutput& output, const KVFanSet& set) {
  if (options.json) {
    writeJson(output, jsonSet(set));
  } else {
    writeText(output, table({rowOf(set, nullptr)}));
  }
}

int runFanSets(const Options& options, StandardOutput& output) {
  StoreForReading reading;
  const std::vector<KVFanSetPtr> sets = reading.objects(&KVCoreDataStore::allFanSets);
  const FanSetChoice choice =
      sets.empty() ? FanSetChoice()
                   : chosenFanSet(reading.store(), reading.settings(),
                                  {kAnyBatteryState, KVUtils::isExternalDisplayConnected()});
  Json list = Json::array();
  std::vector<std::vector<std::string>> rows;
  for (const KVFanSetPtr& set : sets) {
    list.push_back(jsonSet(*set));
    rows.push_back(rowOf(*set, choice.fanSet));
  }
  if (options.json) {
    writeJson(output, {{"fanSets", list},
                       {"applies", choice.fanSet == nullptr ? Json(nullptr)
                                                            : Json(choice.fanSet->identifier())}});
  } else {
    writeText(output,
              rows.empty() ? "no fan sets ('kelvora fansets add' makes one)\n" : table(rows));
  }
  return kExitSuccess;
}

// Sets that are made in one second would share their identifier, and the choice of one by hand
// would mean the first.
void makeIdentifierUnique(KVCoreDataStore& store, KVFanSet& set) {
  const auto isTaken = [&] {
    const KVFanSetPtr first = store.getFanSetById(set.identifier());
    return first != nullptr && first->objectID() != set.objectID();
  };
  while (isTaken()) {
    set.setIdentifier(std::to_string(std::stoll(set.identifier()) + 1));
  }
}

int runAddFanSet(const Options& options, StandardOutput& output) {
  const std::string name = options.text("NAME");
  const PropertyListValue::Dictionary speeds = parsedSpeeds(options.texts("SPEED"));
  KVCoreDataStore& store = KVDataManager::shared().coreDataStore();
  if (KVExtension::isBlank(name)) {
    refuse("NAME", KVErrorInvalidInput, "a fan set needs a name");
  }
  const FanChangeLock lock(Platform::current(), kLongestWait, FanLockKind::kSets);
  const auto sets = readable(store.allFanSets());
  if (std::ranges::any_of(sets, [&](const KVFanSetPtr& set) { return set->name() == name; })) {
    refuse(name, KVErrorInvalidInput, "there is a fan set of this name already");
  }
  const KVFanSetPtr set = store.createFanSetWithName(name, speeds);
  if (set != nullptr) {
    makeIdentifierUnique(store, *set);
  }
  save(store);
  writeSet(options, output, *set);
  return kExitSuccess;
}

int runRemoveFanSet(const Options& options, StandardOutput& output) {
  KVDataManager& manager = KVDataManager::shared();
  KVCoreDataStore& store = manager.coreDataStore();
  const KVFanSetPtr set = requiredFanSet(store, options.text("NAME"));
  const Json removed = jsonSet(*set);
  const std::string text = "Removed " + table({rowOf(*set, nullptr)});
  store.viewContext()->deleteObject(set);
  save(store);
  options.json ? writeJson(output, removed) : writeText(output, text);
  return kExitSuccess;
}

int runUseFanSet(const Options& options, StandardOutput& output) {
  KVDataManager& manager = KVDataManager::shared();
  const KVFanSetPtr set = requiredFanSet(manager.coreDataStore(), options.text("NAME"));
  const KVFanSetPtr meant = manager.coreDataStore().getFanSetById(set->identifier());
  if (meant == nullptr || meant->objectID() != set->objectID()) {
    refuse(options.text("NAME"), KVErrorInvalidInput, "another fan set has the same identifier");
  }
  requireStored(manager.setManualFanSetId(set->identifier()), kChoice);
  writeSet(options, output, *set);
  return kExitSuccess;
}

// An empty text and not none, which would bring back the choice under an older key.
int runAutomatic(const Options& options, StandardOutput& output) {
  requireStored(KVDataManager::shared().setManualFanSetId(""), kChoice);
  if (options.json) {
    return runFanSets(options, output);
  }
  writeText(output, "no fan set by hand; the conditions choose\n");
  return kExitSuccess;
}

}  // namespace

std::vector<Command> fanSetsCommands() {
  const Argument name{.name = "NAME",
                      .description = "A fan set's name or identifier",
                      .need = Argument::Need::kRequired};
  return {{.name = "fansets",
           .description = "List the fan sets, or change them",
           .example = "kelvora fansets\n  kelvora fansets add Quiet 0=1200 1=1300",
           .machine = MachineUse::kEnvironment,
           .run = runFanSets},
          {.parent = "fansets",
           .name = "add",
           .description = "Add a fan set with the speeds of fans",
           .example = "kelvora fansets add Fast 0=5000 1=5200",
           .machine = MachineUse::kEnvironment,
           .arguments = {{.name = "NAME",
                          .description = "A name of your own",
                          .need = Argument::Need::kRequired},
                         {.name = "SPEED",
                          .kind = Argument::Kind::kTexts,
                          .description = "A fan's index and its revolutions per minute",
                          .need = Argument::Need::kRequired,
                          .typeName = "INDEX=RPM"}},
           .run = runAddFanSet},
          {.parent = "fansets",
           .name = "remove",
           .description = "Remove a fan set and the conditions that apply it",
           .example = "kelvora fansets remove Quiet",
           .machine = MachineUse::kEnvironment,
           .arguments = {name},
           .run = runRemoveFanSet},
          {.parent = "fansets",
           .name = "use",
           .description = "Choose a fan set by hand; it goes before every condition",
           .example = "kelvora fansets use Quiet",
           .machine = MachineUse::kEnvironment,
           .arguments = {name},
           .run = runUseFanSet},
          {.parent = "fansets",
           .name = "automatic",
           .description = "Choose no fan set by hand; the conditions choose",
           .example = "kelvora fansets automatic",
           .machine = MachineUse::kEnvironment,
           .run = runAutomatic}};
}

}  // namespace kelvora::tool
