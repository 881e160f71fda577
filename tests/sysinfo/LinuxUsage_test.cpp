// The usage of this computer beside what its own tools print, and of Linux laptops that are
// folders.
#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/ZDSystemMonitor.h"

#include "platforms/linux/system/LinuxHostStatistics.h"
#include "platforms/linux/system/LinuxIORegistry.h"
#include "platforms/linux/system/LinuxSystemControls.h"
#include "platforms/recorded/RecordedSystem.h"
#include "sysinfo/BatteryQuery.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

using testing::TemporaryFolder;

// A tool is asked before and after the sample, because other programs run meanwhile. What it prints
// may change on the way and come back, by so much:
constexpr double kMemoryTolerance = 128.0 * 1024 * 1024;
constexpr double kVolumeTolerance = 128.0 * 1024 * 1024;
// /proc/uptime has hundredths.
constexpr double kUptimeToleranceSeconds = 0.02;
// vmstat prints whole percentages, and those of all processors together.
constexpr double kLoadTolerancePercent = 5;

std::string outputOf(const std::string& command) {
  const auto result = testing::runProgram("/bin/sh", {"-c", command}, {{"LC_ALL", "C"}});
  EXPECT_EQ(result.status, 0) << command << result.standardError;
  return result.standardOutput;
}

std::vector<double> numbersIn(const std::string& text) {
  std::istringstream stream(text);
  std::vector<double> numbers;
  for (double number = 0; stream >> number;) {
    numbers.push_back(number);
  }
  return numbers;
}

std::vector<double> numbersOf(const std::string& command) { return numbersIn(outputOf(command)); }

void expectBetween(double figure, double before, double after, double tolerance) {
  EXPECT_GE(figure, std::min(before, after) - tolerance);
  EXPECT_LE(figure, std::max(before, after) + tolerance);
}

// Likewise of a figure that wraps at 4 GiB.
void expectWrappedBetween(std::int64_t figure, double before, double after, double tolerance) {
  constexpr double kWrap = 4294967296;
  EXPECT_LT(static_cast<double>(figure), kWrap);
  const double middle = (before + after) / 2;
  const double wraps = std::round((middle - static_cast<double>(figure)) / kWrap);
  expectBetween(static_cast<double>(figure) + wraps * kWrap, before, after, tolerance);
}

class ThisComputer : public ::testing::Test {
 protected:
  const std::unique_ptr<Platform> platform = Platform::live();
  ZDSystemMonitor monitor{*platform};
};

TEST_F(ThisComputer, MemoryIsWhatFreeAndVmstatPrint) {
  const auto printed = [] {
    return numbersOf(
        "free --bytes | awk '/^Mem:/ {print $2, $4}'; "
        "vmstat --stats | awk '/ active memory/ || /inactive memory/ {print $1 * 1024}'");
  };
  const auto before = printed();
  const auto usage = monitor.memoryUsageInfo();
  const auto after = printed();
  ASSERT_EQ(before.size(), 4U);
  const auto installed = static_cast<std::int64_t>(before[0]);
  EXPECT_EQ(usage.used + usage.free, installed);
  EXPECT_EQ(usage.wired + usage.free + usage.active + usage.inactive + usage.other, installed);
  expectWrappedBetween(usage.free, before[1], after[1], kMemoryTolerance);
  expectWrappedBetween(usage.active, before[2], after[2], kMemoryTolerance);
  expectWrappedBetween(usage.inactive, before[3], after[3], kMemoryTolerance);
}

TEST_F(ThisComputer, TheVolumeIsWhatDfPrints) {
  constexpr char kCommand[] = "df --block-size=1 --output=size,avail / | tail -n 1";
  const auto before = numbersOf(kCommand);
  const auto usage = monitor.diskUsageInfo();
  const auto after = numbersOf(kCommand);
  ASSERT_EQ(before.size(), 2U);
  EXPECT_EQ(static_cast<double>(usage.total), before[0]);
  expectBetween(static_cast<double>(usage.free), before[1], after[1], kVolumeTolerance);
  EXPECT_EQ(usage.used, usage.total - usage.free);
}

TEST_F(ThisComputer, TheNetworkIsWhatTheKernelCountsForEachInterface) {
  const auto printed = [] {
    return numbersOf(
        "for way in rx tx; do cat /sys/class/net/*/statistics/${way}_bytes | "
        "awk '{sum += $1} END {printf \"%.0f\\n\", sum}'; done");
  };
  const auto before = printed();
  const auto usage = monitor.networkUsageInfo();
  const auto after = printed();
  ASSERT_EQ(before.size(), 2U);
  expectBetween(static_cast<double>(usage.received), before[0], after[0], 0);
  expectBetween(static_cast<double>(usage.sent), before[1], after[1], 0);
}

TEST_F(ThisComputer, WhatGoesOverTheLoopbackInterfaceIsCounted) {
  constexpr std::size_t kBytes = 1'000'000;
  const testing::LoopbackServer server([](const auto& connection) {
    connection.request();
    connection.send("HTTP/1.0 200 OK\r\n\r\n" + std::string(kBytes, 'x'));
  });
  const auto before = monitor.networkUsageInfo();
  EXPECT_EQ(outputOf("no_proxy='*' curl -s " + server.address()).size(), kBytes);
  const auto after = monitor.networkUsageInfo();
  EXPECT_GE(after.received - before.received, kBytes);
  EXPECT_GE(after.sent - before.sent, kBytes);
}

TEST_F(ThisComputer, UptimeIsWhatTheKernelPrintsWithoutTheTimeThatTheComputerSlept) {
  const double before = numbersOf("cat /proc/uptime").at(0);
  const double uptime = monitor.systemUptime();
  const double after = numbersOf("cat /proc/uptime").at(0);
  const double sleeps =
      numbersOf("cat /sys/power/suspend_stats/success 2>/dev/null || echo 0").at(0);
  expectBetween(uptime, sleeps > 0 ? 0 : before, after, kUptimeToleranceSeconds);
}

TEST_F(ThisComputer, TheLoadSinceStartUpIsWhatVmstatPrints) {
  const auto usage = monitor.cpuUsageInfo();
  // From the 13th: user and nice, system, idle, waiting, taken by a hypervisor.
  const auto printed = numbersOf("vmstat --one-header 1 1 | tail -n 1");
  ASSERT_GE(printed.size(), 17U);
  EXPECT_NEAR(usage.user + usage.nice, printed[12], kLoadTolerancePercent);
  EXPECT_NEAR(usage.system, printed[13] + printed[16], kLoadTolerancePercent);
  EXPECT_NEAR(usage.idle, printed[14] + printed[15], kLoadTolerancePercent);
  EXPECT_NEAR(usage.total + usage.idle, 100, 0.01);
}

TEST_F(ThisComputer, TheProcessorsAreThoseOfTheSystem) {
  std::int32_t count = 0;
  std::size_t size = sizeof count;
  platform->systemControls().byNumber(std::array{6, 3}, &count, &size);
  EXPECT_EQ(count, numbersOf("getconf _NPROCESSORS_ONLN").at(0));
}

TEST_F(ThisComputer, TheHostNameAndTheLocalAddressAreTheSystems) {
  platform->ports().childProcesses =
      std::make_unique<platform::RecordedChildProcesses>(std::vector<platform::RecordedCommand>());
  const auto info = monitor.networkInfo();
  EXPECT_EQ(info.hostName().value_or("") + "\n", outputOf("uname -n"));
  const std::string addresses =
      outputOf("ip -brief address | awk '{for (i = 3; i <= NF; i++) print $i}'");
  ASSERT_TRUE(info.ipAddress().has_value());
  EXPECT_NE(("\n" + addresses).find("\n" + *info.ipAddress() + "/"), std::string::npos)
      << addresses;
}

TEST_F(ThisComputer, TheBatteryIsThatOfTheKernelIfThereIsOne) {
  const auto batteries = numbersOf(
      "grep -ls Battery /sys/class/power_supply/*/type | while read -r type; do "
      "folder=${type%/type}; grep -qs Device $folder/scope || grep -qsx 0 $folder/present || "
      "echo; done | wc -l");
  EXPECT_EQ(monitor.batteryUsageInfo().batteryInstalled, batteries.at(0) > 0);
}

// A computer whose Linux is a folder.
class LinuxFolder : public ::testing::Test {
 protected:
  LinuxFolder() {
    auto& ports = mac_.platform->ports();
    ports.hostStatistics = std::make_unique<platform::LinuxHostStatistics>(root_.path());
    ports.systemControls = std::make_unique<platform::LinuxSystemControls>(root_.path());
    ports.registry = std::make_unique<platform::LinuxIORegistry>(root_.path());
  }
  void write(const std::string& folder, const std::map<std::string, std::string>& files) const {
    for (const auto& [name, content] : files) {
      root_.write(folder + "/" + name, content + "\n");
    }
  }

  TemporaryFolder root_;
  testing::MonitoredMac mac_;
};

TEST_F(LinuxFolder, ALaptopsBatteryIsSampledAndItsWearIsInTheInventory) {
  write("sys/class/power_supply/AC", {{"type", "Mains"}, {"online", "1"}});
  write("sys/class/power_supply/BAT0", {{"type", "Battery"},
                                        {"status", "Discharging"},
                                        {"present", "1"},
                                        {"voltage_now", "12450000"},
                                        {"current_now", "1820000"},
                                        {"charge_full_design", "8440000"},
                                        {"charge_full", "7345000"},
                                        {"charge_now", "5876000"},
                                        {"cycle_count", "412"}});
  const auto usage = ZDSystemMonitor(*mac_.platform).batteryUsageInfo();
  EXPECT_TRUE(usage.batteryInstalled && usage.externalConnected);
  EXPECT_FALSE(usage.isCharging || usage.fullyCharged);
  EXPECT_EQ(usage.voltage, 12.45);
  EXPECT_EQ(usage.amperage, -1.82);
  EXPECT_EQ(usage.designCapacity, 8440);
  EXPECT_EQ(usage.maxCapacity, 7345);
  EXPECT_EQ(usage.currentCapacity, 5876);
  EXPECT_EQ(usage.cycleCount, 412U);
  EXPECT_EQ(usage.designCycleCount, 0U) << "Linux does not know";
  EXPECT_EQ(usage.ageInDays, 0U);
  for (const std::uint64_t family : {SensorPlatformIntel, SensorPlatformM1}) {
    const auto wear = queryBattery(mac_.platform->registry(), family);
    EXPECT_EQ(wear.maxCapacity, 7345);
    EXPECT_EQ(wear.designedCapacity, 8440);
    EXPECT_EQ(wear.cycleCount, 412);
  }
}

TEST_F(LinuxFolder, InterfacesAreReadAgainForEachSample) {
  write("proc/net", {{"dev", "lo: 10 0 0 0 0 0 0 0 20 0\neth0: 5 0 0 0 0 0 0 0 6 0"}});
  const ZDSystemMonitor monitor(*mac_.platform);
  EXPECT_EQ(monitor.networkUsageInfo().received, 15U);
  write("proc/net", {{"dev", "lo: 11 0 0 0 0 0 0 0 20 0"}});
  EXPECT_EQ(monitor.networkUsageInfo().received, 11U);
  EXPECT_EQ(monitor.networkUsageInfo().sent, 20U);
}

TEST_F(LinuxFolder, AKernelWithoutNetworksHasNoBytes) {
  EXPECT_EQ(ZDSystemMonitor(*mac_.platform).networkUsageInfo().received, 0U);
}

TEST_F(LinuxFolder, InterfacesThatCannotBeReadEndTheProcess) {
  std::filesystem::create_directories(root_.path("proc/net/dev"));
  const ZDSystemMonitor monitor(*mac_.platform);
  EXPECT_EXIT(monitor.networkUsageInfo(), ::testing::ExitedWithCode(1),
              "^sysctl: Is a directory\n$");
}

// user nice system idle iowait
TEST_F(LinuxFolder, WaitingThatTheKernelTakesBackIsNotElapsedTime) {
  write("proc", {{"stat", "cpu0 1000 0 1000 5000 300"}});
  ZDSystemMonitor monitor(*mac_.platform);
  monitor.cpuUsageInfo();
  write("proc", {{"stat", "cpu0 1099 0 1000 5000 299"}});
  EXPECT_EQ(monitor.cpuUsageInfo().total, 100);
  write("proc", {{"stat", "cpu0 1100 0 1000 5000 299"}});
  EXPECT_EQ(monitor.cpuUsageInfo().total, 100) << "still below";
  write("proc", {{"stat", "cpu0 1101 0 1000 5001 302"}});
  EXPECT_EQ(monitor.cpuUsageInfo().total, 25) << "1 busy and 3 idle since the highest count";
}

TEST_F(LinuxFolder, ProcessorsKeepTheirOwnIdleTime) {
  platform::LinuxHostStatistics statistics(root_.path());
  const auto idle = [&](const std::string& stat) {
    write("proc", {{"stat", stat}});
    std::vector<std::uint32_t> counters;
    const auto processors = statistics.processorTicks().value();
    for (const auto& ticks : processors) {
      counters.push_back(ticks.idle);
    }
    return counters;
  };
  using Counters = std::vector<std::uint32_t>;
  EXPECT_EQ(idle("cpu0 0 0 0 10000 9\ncpu1 0 0 0 7000 0"), (Counters{10009, 7000}));
  EXPECT_EQ(idle("cpu0 0 0 0 10000 0\ncpu1 0 0 0 7001 0"), (Counters{10009, 7001}));
  EXPECT_EQ(idle("cpu0 0 0 0 4009 0\ncpu1 0 0 0 1000 0"), (Counters{10009, 1000}))
      << "6000 are a time of waiting, 6001 a processor that was turned off and on";
  EXPECT_EQ(idle("cpu0 0 0 0 10008 0"), (Counters{10008})) << "another number of processors";
  EXPECT_EQ(idle("cpu0 0 0 0 4294967290 0"), (Counters{4294967290}));
  EXPECT_EQ(idle("cpu0 0 0 0 4294967298 0"), (Counters{2})) << "a counter of 32 bits wraps";
  EXPECT_EQ(idle("cpu0 0 0 0 4294967294 0"), (Counters{2})) << "and is held across that";
}

TEST_F(LinuxFolder, WithoutProcThereIsNoLoadAndNoMemory) {
  ZDSystemMonitor monitor(*mac_.platform);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(monitor.cpuUsageInfo().total, -1);
  EXPECT_EQ(monitor.memoryUsageInfo().used, 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Error fetching CPU usage - returning -1!\nFailed to get VM statistics.");
}

}  // namespace
}  // namespace kelvora
