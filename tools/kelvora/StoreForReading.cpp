#include "tools/kelvora/StoreForReading.h"

#include <filesystem>
#include <system_error>

#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

bool StoreForReading::exists() {
  const auto folder = KVUtils::groupContainerLocation();
  std::error_code error;
  return folder && std::filesystem::exists(*folder + "/Database.sqlite", error);
}

void StoreForReading::refuseUnreadable() {
  throw CommandError(kExitNothingRead, "the store could not be read ('kelvora doctor' says more)");
}

}  // namespace kelvora::tool
