// Whole readings and inventories through the Mac's hardware ports, on every recorded Mac.
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/SensorController.h"
#include "KelvoraCore/ZDSystemDevice.h"

#include "platforms/macos/hardware/MacHIDEventSystem.h"
#include "platforms/macos/hardware/MacIORegistry.h"
#include "platforms/macos/hardware/MacSMC.h"
#include "platforms/recorded/RecordedHID.h"
#include "platforms/recorded/RecordedRegistry.h"
#include "platforms/recorded/RecordedSMC.h"
#include "platforms/recorded/RecordedSystem.h"
#include "platforms/shared/SystemControlTable.h"
#include "ports/Ports.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SensorLists.h"

namespace kelvora::testing::mac {
namespace {

class ListeningController : public SensorController {
 public:
  using SensorController::SensorController;
  void smcReadValueFailedWithError(const std::string& message) override {
    failures.push_back(message);
  }
  std::vector<std::string> failures;
};

class MacReadings : public HardwareTest, public ::testing::WithParamInterface<const char*> {
 protected:
  MacReadings() {
    boot(machine);
    platform::Ports macPorts = systemPorts();
    macPorts.smc = std::make_unique<platform::MacSMC>();
    macPorts.hid = std::make_unique<platform::MacHIDEventSystem>();
    macPorts.registry = std::make_unique<platform::MacIORegistry>();
    mac = platformOf(std::move(macPorts));
    platform::Ports recordedPorts = systemPorts();
    recordedPorts.smc = std::make_unique<platform::RecordedSMC>(machine.smcKeys);
    recordedPorts.hid = std::make_unique<platform::RecordedHID>(machine.hid);
    recordedPorts.registry = std::make_unique<platform::RecordedRegistry>(machine.registry);
    recorded = platformOf(std::move(recordedPorts));
  }
  platform::Ports systemPorts() const {
    platform::Ports ports;
    ports.systemFacts = std::make_unique<platform::RecordedSystemFacts>(machine);
    ports.systemControls = std::make_unique<platform::SystemControlTable>(machine.sysctl);
    ports.childProcesses = std::make_unique<platform::RecordedChildProcesses>(machine.commands);
    return ports;
  }
  std::unique_ptr<Platform> platformOf(platform::Ports ports) const {
    return std::make_unique<Platform>(PlatformIdentity{machine.title, false, machine.architecture},
                                      std::move(ports));
  }

  const platform::RecordedMachine machine = recordedMachine(GetParam());
  std::unique_ptr<Platform> mac;
  std::unique_ptr<Platform> recorded;
};

TEST_P(MacReadings, AReadingIsThatOfTheRecordedPlatform) {
  ListeningController actual(*mac);
  ListeningController expected(*recorded);
  const auto sensors = described(actual.getAllSensors());
  EXPECT_EQ(sensors, described(expected.getAllSensors()));
  EXPECT_FALSE(sensors.empty());
  EXPECT_EQ(actual.failures, expected.failures);
  EXPECT_EQ(mac->hasSensorHardware(), recorded->hasSensorHardware());
}

TEST_P(MacReadings, TheInventoryIsThatOfTheRecordedPlatform) {
  const ZDSystemDevice actual(*mac);
  const ZDSystemDevice expected(*recorded);
  EXPECT_EQ(actual.cpuInfo().coreList, expected.cpuInfo().coreList);
  EXPECT_EQ(actual.cpuInfo().eCoreCount, expected.cpuInfo().eCoreCount);
  EXPECT_EQ(actual.cpuInfo().pCoreCount, expected.cpuInfo().pCoreCount);
  EXPECT_EQ(actual.gpuInfos(), expected.gpuInfos());
  EXPECT_EQ(actual.batteryInfo().cycleCount, expected.batteryInfo().cycleCount);
  EXPECT_EQ(actual.batteryInfo().maxCapacity, expected.batteryInfo().maxCapacity);
  EXPECT_EQ(actual.batteryInfo().designedCapacity, expected.batteryInfo().designedCapacity);
}

TEST_P(MacReadings, NothingButTheConnectionStaysOpenBetweenReadings) {
  ListeningController controller(*mac);
  std::map<std::string, int> expected;
  if (machine.smcKeys) {
    expected["connection"] = 1;
  }
  for (int reading = 0; reading < 2; ++reading) {
    controller.getAllSensors();
    EXPECT_EQ(ledger.open(), expected);
  }
}

TEST_P(MacReadings, AReadingWithoutHardwareCallsThatWorkIsEmptyAndLeavesNothingOpen) {
  for (const char* function : {"IOServiceGetMatchingServices", "IOIteratorNext", "IOServiceOpen",
                               "IOConnectCallStructMethod"}) {
    ledger.failCallsFrom(function);
    ledger.failCallsFrom("IOHIDEventSystemClientCreate");
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(ListeningController(*mac).getAllSensors().empty()) << function;
    ::testing::internal::GetCapturedStdout();
    EXPECT_TRUE(ledger.open().empty()) << function;
    ledger.failNothing();
  }
  EXPECT_FALSE(ListeningController(*mac).getAllSensors().empty());
}

INSTANTIATE_TEST_SUITE_P(Recorded, MacReadings, ::testing::ValuesIn(kRecordedMachines),
                         nameOfMachine);

}  // namespace
}  // namespace kelvora::testing::mac
