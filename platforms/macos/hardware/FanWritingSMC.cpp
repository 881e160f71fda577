#include "platforms/shared/FanWritingSMC.h"

#include "platforms/macos/hardware/MacSMC.h"

namespace kelvora::platform {

std::unique_ptr<SMCUserClient> fanWritingSMC(const std::string&) {
  return std::make_unique<MacSMC>();
}

}  // namespace kelvora::platform
