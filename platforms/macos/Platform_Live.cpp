#include <utility>

#include "KelvoraCore/Platform.h"

#include "platforms/macos/hardware/MacHIDEventSystem.h"
#include "platforms/macos/hardware/MacIORegistry.h"
#include "platforms/macos/hardware/MacSMC.h"
#include "platforms/macos/notices/MacNotificationCentres.h"
#include "platforms/macos/processes/MacAuthorization.h"
#include "platforms/macos/processes/MacWorkspace.h"
#include "platforms/macos/settings/MacUserDefaults.h"
#include "platforms/macos/system/MacFiles.h"
#include "platforms/macos/system/MacHostStatistics.h"
#include "platforms/macos/system/MacMainBundle.h"
#include "platforms/macos/system/MacMainQueue.h"
#include "platforms/macos/system/MacSystemControls.h"
#include "platforms/macos/system/MacSystemFacts.h"
#include "platforms/posix/PosixChildProcesses.h"
#include "ports/Ports.h"

namespace kelvora::platform {

namespace {

#ifdef __aarch64__
constexpr Architecture kArchitecture = Architecture::kAppleSilicon;
#else
constexpr Architecture kArchitecture = Architecture::kIntel;
#endif

void addHardware(Ports& ports) {
  ports.smc = std::make_unique<MacSMC>();
  ports.hid = std::make_unique<MacHIDEventSystem>();
  ports.registry = std::make_unique<MacIORegistry>();
}

void addSystem(Ports& ports) {
  ports.systemControls = std::make_unique<MacSystemControls>();
  ports.hostStatistics = std::make_unique<MacHostStatistics>();
  ports.systemFacts = std::make_unique<MacSystemFacts>();
  ports.childProcesses = std::make_unique<PosixChildProcesses>();
  ports.workspace = std::make_unique<MacWorkspace>();
  ports.authorization = std::make_unique<MacAuthorization>();
  ports.files = std::make_unique<MacFiles>();
}

void addProcess(Ports& ports) {
  ports.mainBundle = std::make_unique<MacMainBundle>();
  ports.userDefaults = std::make_unique<MacUserDefaults>();
  ports.mainQueue = std::make_unique<MacMainQueue>();
  ports.notificationCentres = std::make_unique<MacNotificationCentres>(*ports.mainQueue);
}

}  // namespace

}  // namespace kelvora::platform

namespace kelvora {

std::unique_ptr<Platform> Platform::live() {
  platform::Ports ports;
  platform::addHardware(ports);
  platform::addSystem(ports);
  platform::addProcess(ports);
  PlatformIdentity identity{"This computer", true, platform::kArchitecture};
  return std::make_unique<Platform>(std::move(identity), std::move(ports));
}

}  // namespace kelvora
