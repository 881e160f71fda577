#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/KVDataManager.h"

// What the commands that change stored objects and rules have in common.
namespace kelvora::tool {

/// Codes of the library's errors, as KVError::errorWithCode takes them.
enum ErrorCode : std::int64_t {
  kCannotAddCondition = 1,
  kInvalidSensorKey = 2,
  kInvalidInput = 5,
};

/// Ends the command as wrong usage with the library's text for an error in the user's language:
/// "TC0Q: The sensor key is not valid. (did you mean TC0P?)".
[[noreturn]] void refuse(const std::string& word, ErrorCode code, const std::string& detail);

/// The stored sensor with a key, e.g. "TC0P". Refuses any other word, with the key that was meant.
KVSensorPtr requiredSensor(KVCoreDataStore& store, const std::string& key);

/// The stored fan set with that identifier or name. Refuses a word that fits none or several.
KVFanSetPtr requiredFanSet(KVCoreDataStore& store, const std::string& word);

/// Saves the view context. Ends the command when it cannot be saved.
void save(KVCoreDataStore& store);

/// Ends the command unless a setting was stored.
void requireStored(bool isStored, const std::string& what);

/// From which value on something happens: "from 85.5°C", or "from 85.5" without a unit.
std::string limitText(double limit, const std::optional<std::string>& unit);

/// A text as the first line of a table's column and the texts below it, e.g. for a list of rules:
/// each column as wide as its widest text, two blanks between.
std::string table(const std::vector<std::vector<std::string>>& rows);

}  // namespace kelvora::tool
