#include "platforms/shared/FanWritingSMC.h"

#include "platforms/linux/smc/LinuxFanSMC.h"
#include "platforms/linux/system/UserFolders.h"
#include "platforms/recorded/ChosenMachine.h"
#include "platforms/shared/TrustedEnvironment.h"

namespace kelvora::platform {

std::unique_ptr<SMCUserClient> fanWritingSMC(const std::string& key) {
  auto driver = std::make_unique<LinuxFanSMC>(key);
  // Whoever starts the tool owns the folder, and may put anything there.
  const auto folder = driver->exists() || hasRaisedRights() ? std::nullopt : dataFolder();
  if (!folder) {
    return driver;
  }
  return std::make_unique<ChosenMachine>(ChoiceFile::pathIn(*folder + "/Kelvora"));
}

}  // namespace kelvora::platform
