#include "tests/platforms/shared/PortsTest.h"

#include "platforms/linux/bus/LinuxNotificationCentres.h"
#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "platforms/linux/system/LinuxFiles.h"
#include "platforms/linux/system/LinuxMainQueue.h"
#include "platforms/recorded/RecordedHID.h"
#include "platforms/recorded/RecordedRegistry.h"
#include "platforms/recorded/RecordedSMC.h"
#include "platforms/recorded/RecordedSystem.h"
#include "platforms/shared/SystemControlTable.h"

namespace kelvora::testing {

PortsTest::PortsTest() {
  ports.files = std::make_unique<platform::LinuxFiles>();
  ports.userDefaults = std::make_unique<platform::LinuxUserDefaults>(folder.path("config"));
  ports.mainQueue = std::make_unique<platform::LinuxMainQueue>();
  ports.notificationCentres = std::make_unique<platform::LinuxNotificationCentres>(
      *ports.mainQueue, std::make_shared<platform::DesktopColourScheme>());
  boot({});
}

PortsTest::~PortsTest() = default;

void PortsTest::TearDown() {}

void PortsTest::boot(const platform::RecordedMachine& machine) {
  ports.smc = std::make_unique<platform::RecordedSMC>(machine.smcKeys);
  ports.hid = std::make_unique<platform::RecordedHID>(machine.hid);
  ports.registry = std::make_unique<platform::RecordedRegistry>(machine.registry);
  ports.systemControls = std::make_unique<platform::SystemControlTable>(
      machine.sysctl, platform::interfaceListBytes(machine.statistics.interfaces));
  ports.hostStatistics = std::make_unique<platform::RecordedHostStatistics>(machine.statistics);
  ports.systemFacts = std::make_unique<platform::RecordedSystemFacts>(machine);
}

void PortsTest::runMainQueue() { ports.mainQueue->runPending(); }

}  // namespace kelvora::testing
