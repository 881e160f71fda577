// The live usage of a Mac: what the monitor asks the kernel for, and the figures that it computes.
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/ZDSystemMonitor.h"

#include "platforms/recorded/RecordedSystem.h"
#include "ports/Ports.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing::mac {
namespace {

class MacUsage : public SystemTest {
 protected:
  void boot(const platform::RecordedMachine& machine) {
    Kernel::shared().boot(machine);
    Host::shared().boot(machine);
    mac = Platform::live();
    mac->ports().childProcesses =
        std::make_unique<platform::RecordedChildProcesses>(machine.commands);
  }
  void TearDown() override {
    Dispatch::shared().drainMainQueue();
    mac.reset();
    SystemTest::TearDown();
  }
  std::unique_ptr<Platform> mac;
};

TEST_F(MacUsage, InterfacesAreAskedForTheSizeThenForTheList) {
  platform::RecordedMachine machine;
  machine.statistics.interfaces = {{"lo0", 5, 6}, {"en0", 1ULL << 40, 7}};
  boot(machine);
  const ZDSystemMonitor monitor(*mac);
  ledger.forgetCalls();
  const auto usage = monitor.networkUsageInfo();
  EXPECT_EQ(usage.received, (1ULL << 40) + 5);
  EXPECT_EQ(usage.sent, 13U);
  EXPECT_EQ(takeCalls(), (Calls{"sysctl(4.17.0.0.6.0, size)", "sysctl(4.17.0.0.6.0, value)"}));
}

TEST_F(MacUsage, AMacWithoutInterfacesIsAskedOnce) {
  boot({});
  const ZDSystemMonitor monitor(*mac);
  ledger.forgetCalls();
  EXPECT_EQ(monitor.networkUsageInfo().received, 0U);
  EXPECT_EQ(takeCalls(), (Calls{"sysctl(4.17.0.0.6.0, size)"}));
}

TEST_F(MacUsage, AnInterfaceQueryThatFailsEndsTheProcess) {
  platform::RecordedMachine machine;
  machine.statistics.interfaces = {{"en0", 1, 2}};
  boot(machine);
  const ZDSystemMonitor monitor(*mac);
  for (const int call : {1, 2}) {
    EXPECT_EXIT(
        {
          ledger.failCall("sysctl", call);
          monitor.networkUsageInfo();
        },
        ::testing::ExitedWithCode(1), "^sysctl: Operation not permitted\n$");
  }
}

TEST_F(MacUsage, TheProcessorsAreCountedByNumberOnce) {
  platform::RecordedMachine machine;
  machine.statistics.processorTicks = {{1, 2, 3, 4}};
  boot(machine);
  ledger.forgetCalls();
  ZDSystemMonitor monitor(*mac);
  EXPECT_EQ(takeCalls(), (Calls{"sysctl(6.3, value)"}));
  monitor.cpuUsageInfo();
  monitor.cpuUsageInfo();
  EXPECT_EQ(ledger.callCount("sysctl"), 1);
}

class MacUsageOfRecordedMac : public MacUsage, public ::testing::WithParamInterface<const char*> {};

TEST_P(MacUsageOfRecordedMac, IsThatOfTheRecordedPlatform) {
  const auto machine = recordedMachine(GetParam());
  boot(machine);
  const auto recorded = recordedPlatform(machine);
  ZDSystemMonitor actual(*mac);
  ZDSystemMonitor expected(*recorded);
  EXPECT_EQ(actual.cpuUsageInfo().total, expected.cpuUsageInfo().total);
  const auto memory = actual.memoryUsageInfo();
  EXPECT_EQ(memory.free, expected.memoryUsageInfo().free);
  EXPECT_EQ(memory.wired, expected.memoryUsageInfo().wired);
  EXPECT_EQ(memory.other, expected.memoryUsageInfo().other);
  EXPECT_EQ(actual.diskUsageInfo().used, expected.diskUsageInfo().used);
  EXPECT_EQ(actual.networkUsageInfo().received, expected.networkUsageInfo().received);
  EXPECT_EQ(actual.networkUsageInfo().sent, expected.networkUsageInfo().sent);
  const auto battery = actual.batteryUsageInfo();
  EXPECT_EQ(battery.batteryInstalled, expected.batteryUsageInfo().batteryInstalled);
  EXPECT_EQ(battery.amperage, expected.batteryUsageInfo().amperage);
  EXPECT_EQ(battery.ageInDays, expected.batteryUsageInfo().ageInDays);
  EXPECT_EQ(actual.networkInfo().ipAddress(), expected.networkInfo().ipAddress());
  EXPECT_EQ(actual.networkInfo().hostName(), expected.networkInfo().hostName());
  EXPECT_NEAR(actual.systemUptime(), expected.systemUptime(), 1e-6);
  EXPECT_TRUE(ledger.open().empty());
}

INSTANTIATE_TEST_SUITE_P(Recorded, MacUsageOfRecordedMac, ::testing::ValuesIn(kRecordedMachines),
                         nameOfMachine);

}  // namespace
}  // namespace kelvora::testing::mac
