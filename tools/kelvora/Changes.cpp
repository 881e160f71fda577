#include "tools/kelvora/Changes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVError.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/StoreForReading.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// What to write instead of a word that is no name.
std::string advice(const std::string& word, const std::vector<std::string>& names,
                   const std::string& otherwise) {
  const auto near = nearName(word, names);
  return near ? "did you mean " + *near + "?" : otherwise;
}

}  // namespace

void refuse(const std::string& word, ErrorCode code, const std::string& detail) {
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
  refuse(key, kInvalidSensorKey, advice(key, keys, "no stored sensor has this key"));
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
    refuse(word, kInvalidInput, advice(word, names, "'kelvora fansets' lists the fan sets"));
  }
  if (found.size() > 1) {
    refuse(word, kInvalidInput, "several fan sets have this name; name one by its identifier");
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

std::string limitText(double limit, const std::optional<std::string>& unit) {
  const bool isWhole = std::trunc(limit) == limit && std::abs(limit) < 1e15;
  const Json number = isWhole ? Json(static_cast<std::int64_t>(limit)) : jsonNumber(limit);
  return "from " + (number.is_null() ? "no number" : number.dump()) + unit.value_or("");
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], displayWidth(row[column]));
    }
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += (column == 0 ? "" : "  ") + fitted(row[column], widths[column]);
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace kelvora::tool
