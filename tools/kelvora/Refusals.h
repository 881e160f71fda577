#pragma once

#include <string>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/KVError.h"

// Commands that change stored objects and rules end here with what cannot be done.
namespace kelvora::tool {

/// Ends the command as wrong usage with the library's text for an error in the user's language:
/// "TC0Q: The sensor key is not valid. (did you mean TC0P?)".
[[noreturn]] void refuse(const std::string& word, KVErrorCode code, const std::string& detail);

/// The stored sensor with a key, e.g. "TC0P". Refuses any other word, with the key that was meant.
KVSensorPtr requiredSensor(KVCoreDataStore& store, const std::string& key);

/// The stored fan set with that identifier or name. Refuses a word that fits none or several.
KVFanSetPtr requiredFanSet(KVCoreDataStore& store, const std::string& word);

/// Saves the view context. Ends the command when it cannot be saved.
void save(KVCoreDataStore& store);

/// Ends the command unless a setting was stored.
void requireStored(bool isStored, const std::string& what);

}  // namespace kelvora::tool
