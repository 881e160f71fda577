#include "tests/platforms/shared/PortsTest.h"

#include "platforms/macos/hardware/MacHIDEventSystem.h"
#include "platforms/macos/hardware/MacIORegistry.h"
#include "platforms/macos/hardware/MacSMC.h"
#include "platforms/macos/notices/MacNotificationCentres.h"
#include "platforms/macos/settings/MacUserDefaults.h"
#include "platforms/macos/system/MacFiles.h"
#include "platforms/macos/system/MacHostStatistics.h"
#include "platforms/macos/system/MacMainQueue.h"
#include "platforms/macos/system/MacSystemControls.h"
#include "platforms/macos/system/MacSystemFacts.h"
#include "tests/macos/frameworks/HID.h"
#include "tests/macos/frameworks/IOKit.h"
#include "tests/macos/frameworks/SystemTest.h"

namespace kelvora::testing {

PortsTest::PortsTest() {
  mac::Ledger::shared().reset();
  mac::Bundles::shared().reset();
  mac::Cocoa::shared().reset();
  mac::Cocoa::shared().containers["group.com.kelvora"] = folder.path("container");
  mac::Preferences::shared().reset();
  mac::NotificationCenters::shared().reset();
  ports.files = std::make_unique<platform::MacFiles>();
  ports.userDefaults = std::make_unique<platform::MacUserDefaults>();
  ports.mainQueue = std::make_unique<platform::MacMainQueue>();
  ports.notificationCentres = std::make_unique<platform::MacNotificationCentres>(*ports.mainQueue);
  boot({});
}

PortsTest::~PortsTest() = default;

// Nothing may be open when the ports have gone.
void PortsTest::TearDown() {
  mac::Dispatch::shared().drainMainQueue();
  ports = {};
  for (const auto& [kind, count] : mac::Ledger::shared().open()) {
    ADD_FAILURE() << count << " open: " << kind;
  }
}

void PortsTest::boot(const platform::RecordedMachine& machine) {
  ports.smc.reset();  // closes its connections to the machine before
  mac::Kernel::shared().boot(machine);
  mac::HIDSystem::shared().plugIn(machine.hid);
  mac::Host::shared().boot(machine);
  ports.smc = std::make_unique<platform::MacSMC>();
  ports.hid = std::make_unique<platform::MacHIDEventSystem>();
  ports.registry = std::make_unique<platform::MacIORegistry>();
  ports.systemControls = std::make_unique<platform::MacSystemControls>();
  ports.hostStatistics = std::make_unique<platform::MacHostStatistics>();
  ports.systemFacts = std::make_unique<platform::MacSystemFacts>();
}

void PortsTest::runMainQueue() { mac::Dispatch::shared().drainMainQueue(); }

}  // namespace kelvora::testing
