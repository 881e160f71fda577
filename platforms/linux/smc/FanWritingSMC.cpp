#include "platforms/shared/FanWritingSMC.h"

#include "platforms/linux/smc/LinuxFanSMC.h"

namespace kelvora::platform {

std::unique_ptr<SMCUserClient> fanWritingSMC(const std::string& key, bool) {
  return std::make_unique<LinuxFanSMC>(key);
}

}  // namespace kelvora::platform
