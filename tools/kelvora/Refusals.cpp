#include "tools/kelvora/Refusals.h"

#include "KelvoraCore/KVError.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/StoreForReading.h"

namespace kelvora::tool {

namespace {

// What to write instead of a word that is no name.
std::string advice(const std::string& word, const std::vector<std::string>& names,
                   const std::string& otherwise) {
  const auto near = nearName(word, names);
  return near ? "did you mean " + *near + "?" : otherwise;
}

}  // namespace

void refuse(const std::string& word, KVErrorCode code, const std::string& detail) {
  KVSettingsSnapshot settings;  // a refusal stores no language
  const std::string text = KVError::errorWithCode(code, settings).localizedDescription();
  throw CommandError(kExitUsage, word + ": " + text + " (" + detail + ")");
}

KVSensorPtr requiredSensor(KVCoreDataStore& store, const std::string& key) {
  if (KVSensorPtr sensor = store.getSensorByKey(key)) {
    return sensor;
  }
  std::vector<std::string> keys;
  for (const KVSensorPtr& sensor : readable(store.allSensors())) {
    keys.push_back(sensor->key());
  }
  refuse(key, KVErrorInvalidSensorKey, advice(key, keys, "no stored sensor has this key"));
}

KVFanSetPtr requiredFanSet(KVCoreDataStore& store, const std::string& word) {
  const std::vector<KVFanSetPtr> sets = readable(store.allFanSets());
  std::vector<KVFanSetPtr> found;
  std::vector<std::string> names;
  for (const KVFanSetPtr& set : sets) {
    names.push_back(set->name());
    if (set->identifier() == word || set->name() == word) {
      found.push_back(set);
    }
  }
  if (found.empty()) {
    refuse(word, KVErrorInvalidInput, advice(word, names, "'kelvora fansets' lists the fan sets"));
  }
  if (found.size() > 1) {
    refuse(word, KVErrorInvalidInput,
           "several fan sets have this name; name one by its identifier");
  }
  return found.front();
}

void save(KVCoreDataStore& store) {
  const ManagedObjectContextPtr context = store.viewContext();
  const auto fault =
      context == nullptr ? std::optional<std::string>("there is no model") : context->save();
  if (fault) {
    throw CommandError(kExitNothingRead, "the store could not be written: " + *fault +
                                             " ('kelvora doctor' says more)");
  }
}

void requireStored(bool isStored, const std::string& what) {
  if (!isStored) {
    throw CommandError(kExitNothingRead,
                       what + " could not be written ('kelvora doctor' says more)");
  }
}

}  // namespace kelvora::tool
