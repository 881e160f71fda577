#include <bit>
#include <utility>

#include "platform/MemoryUserDefaults.h"
#include "platform/Platform.h"
#include "platform/SystemControlTable.h"
#include "platform/linux/LinuxChildProcesses.h"
#include "platform/linux/LinuxFiles.h"
#include "platform/linux/LinuxMainBundle.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/LinuxNotificationCentres.h"
#include "platform/recorded/RecordedHID.h"
#include "platform/recorded/RecordedRegistry.h"
#include "platform/recorded/RecordedSMC.h"
#include "platform/recorded/RecordedSystem.h"

namespace kelvora::platform {

namespace {

#ifdef __aarch64__
constexpr Architecture kArchitecture = Architecture::kAppleSilicon;
#else
constexpr Architecture kArchitecture = Architecture::kIntel;
#endif

// What this system has no interface for answers like a recording of nothing.
void addAbsentHardware(Ports& ports) {
  ports.smc = std::make_unique<RecordedSMC>(std::nullopt);
  ports.hid = std::make_unique<RecordedHID>(std::nullopt);
  ports.registry = std::make_unique<RecordedRegistry>(std::nullopt);
}

void addSystem(Ports& ports) {
  ports.systemControls = std::make_unique<SystemControlTable>(SystemControlTable::Values{});
  ports.hostStatistics = std::make_unique<RecordedHostStatistics>(RecordedStatistics{});
  ports.systemFacts = std::make_unique<RecordedSystemFacts>(RecordedMachine{});
  ports.workspace = std::make_unique<RecordedWorkspace>(std::vector<RunningApplication>{});
  ports.authorization = std::make_unique<RefusingAuthorization>();
  ports.childProcesses = std::make_unique<LinuxChildProcesses>();
  ports.files = std::make_unique<LinuxFiles>();
}

void addProcess(Ports& ports) {
  ports.mainBundle = std::make_unique<LinuxMainBundle>();
  ports.userDefaults = std::make_unique<MemoryUserDefaults>();
  ports.mainQueue = std::make_unique<LinuxMainQueue>();
  ports.notificationCentres = std::make_unique<LinuxNotificationCentres>(*ports.mainQueue);
}

}  // namespace

std::unique_ptr<Platform> makeLivePlatform() {
  Ports ports;
  addAbsentHardware(ports);
  addSystem(ports);
  addProcess(ports);
  PlatformIdentity identity{"This computer", true, kArchitecture};
  return std::make_unique<Platform>(std::move(identity), std::move(ports));
}

}  // namespace kelvora::platform
