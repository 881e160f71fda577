#include "KelvoraCore/ZDSystemMonitor.h"

#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

class ZDSystemMonitorOfRecordedMac : public ::testing::TestWithParam<const char*> {
 protected:
  const platform::RecordedMachine machine = testing::recordedMachine(GetParam());
  const std::unique_ptr<Platform> platform = testing::recordedPlatform(machine);
  ZDSystemMonitor monitor{*platform};
};

TEST_P(ZDSystemMonitorOfRecordedMac, TheFirstLoadIsThatSinceStartUp) {
  const auto usage = monitor.cpuUsageInfo();
  EXPECT_NEAR(usage.total + usage.idle, 100, 1e-4);
  EXPECT_NEAR(usage.user + usage.system + usage.nice, usage.total, 1e-4);
  EXPECT_GT(usage.user, usage.system);
}

TEST_P(ZDSystemMonitorOfRecordedMac, MemoryIsThePartsOfTheInstalledMemory) {
  const auto& pages = *machine.statistics.memory;
  const std::uint32_t pageSize = *machine.statistics.pageSizeBytes;
  const auto usage = monitor.memoryUsageInfo();
  EXPECT_EQ(usage.free, pages.free * pageSize);
  EXPECT_EQ(usage.active, pages.active * pageSize);
  EXPECT_EQ(usage.inactive, pages.inactive * pageSize);
  EXPECT_EQ(usage.wired, pages.wired * pageSize);
  EXPECT_EQ(usage.used + usage.free,
            usage.free + usage.active + usage.inactive + usage.wired + usage.other);
}

TEST_P(ZDSystemMonitorOfRecordedMac, VolumeNetworkIdentityAndUptimeAreThoseOfTheRecording) {
  const auto disk = monitor.diskUsageInfo();
  EXPECT_EQ(disk.total, 499963174912);
  EXPECT_EQ(disk.free, 210453397504);
  EXPECT_EQ(disk.used, 499963174912 - 210453397504);
  const auto network = monitor.networkUsageInfo();
  EXPECT_EQ(network.received, 88123456U + 5123456789U);
  EXPECT_EQ(network.sent, 88123456U + 734567890U);
  const auto info = monitor.networkInfo();
  EXPECT_EQ(info.ipAddress(), "192.0.2.10");
  EXPECT_EQ(info.publicIpAddress(), "") << "no recorded Mac asks the Internet";
  EXPECT_EQ(info.hostName(), machine.hostName);
  EXPECT_EQ(monitor.systemUptime(), 93784.5);
}

TEST(ZDSystemMonitor, AVolumeThatCannotBeReadIsZero) {
  const testing::MonitoredMac mac;
  const auto disk = ZDSystemMonitor(*mac.platform).diskUsageInfo();
  EXPECT_EQ(disk.total, 0);
  EXPECT_EQ(disk.free, 0);
  EXPECT_EQ(disk.used, 0);
}

TEST(ZDSystemMonitor, TheSharedMonitorIsOneWhoseUsersShareTheSampleBefore) {
  Platform& platform = testing::installRecordedPlatform("MacBookPro15,1");
  auto& statistics =
      testing::wrapPort<testing::ForwardingHostStatistics>(platform.ports().hostStatistics);
  std::vector<platform::ProcessorTicks> ticks;
  statistics.onProcessorTicks = [&] { return std::optional(ticks); };
  ticks.assign(64, {.user = 10, .idle = 10});
  ZDSystemMonitor& monitor = ZDSystemMonitor::systemMonitor();
  EXPECT_EQ(monitor.cpuUsageInfo().total, 50) << "since start-up";
  ticks.assign(64, {.user = 11, .idle = 13});
  EXPECT_EQ(ZDSystemMonitor::systemMonitor().cpuUsageInfo().total, 25) << "since the other's call";
  EXPECT_EQ(&ZDSystemMonitor::systemMonitor(), &monitor);
}

INSTANTIATE_TEST_SUITE_P(Recorded, ZDSystemMonitorOfRecordedMac,
                         ::testing::ValuesIn(testing::kRecordedMachines));

}  // namespace
}  // namespace kelvora
