#include "tools/kelvora/StoreForReading.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "KelvoraCore/KVStoreFile.h"
#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

// Checking the whole file is slow, so only a command that failed does it.
void refuseUnreadableStore() {
  const auto file = storeFile();
  if (file && file->isOlder) {
    throw CommandError(kExitNothingRead,
                       file->path +
                           ": written by an earlier version; a program that writes to it, "
                           "e.g. 'kelvora record-history', brings it up to date");
  }
  const bool isKnown = file && !file->fault.empty();
  throw CommandError(kExitNothingRead,
                     (isKnown ? file->path + ": " + file->fault : "the store could not be read") +
                         " ('kelvora doctor' says more)");
}

bool StoreForReading::exists() {
  const auto folder = KVUtils::groupContainerLocation();
  if (!folder) {
    return false;
  }
  // An empty file was made by a program that has stored nothing in it yet.
  std::error_code error;
  const auto size = std::filesystem::file_size(*folder + "/Database.sqlite", error);
  return error ? error != std::errc::no_such_file_or_directory : size > 0;
}

}  // namespace kelvora::tool
