#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platforms/linux/processes/LinuxAuthorization.h"
#include "platforms/linux/system/LinuxHostStatistics.h"
#include "platforms/linux/system/LinuxSystemControls.h"
#include "platforms/linux/system/LinuxSystemFacts.h"
#include "ports/Ports.h"
#include "tests/support/ScriptedChildProcesses.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::LinuxAuthorization;
using platform::LinuxHostStatistics;
using platform::LinuxSystemControls;
using platform::LinuxSystemFacts;

std::optional<std::string> textControl(platform::SystemControls& controls, const char* name) {
  std::size_t size = 0;
  if (controls.byName(name, nullptr, &size) != 0) {
    return std::nullopt;
  }
  std::string text(size, ' ');
  controls.byName(name, text.data(), &size);
  EXPECT_EQ(text.back(), '\0');
  text.pop_back();
  return text;
}

template <typename T>
std::optional<T> numberControl(platform::SystemControls& controls, const char* name) {
  T value = 0;
  std::size_t size = 0;
  if (controls.byName(name, nullptr, &size) != 0) {
    return std::nullopt;
  }
  EXPECT_EQ(size, sizeof value) << name;
  size = sizeof value;
  EXPECT_EQ(controls.byName(name, &value, &size), 0);
  return value;
}

TEST(LinuxSystemControls, ReportsTheFactsOfDMIProcessorsAndMemory) {
  const TemporaryFolder root;
  root.write("sys/class/dmi/id/product_name", "MacBookPro15,1\n");
  root.write("proc/cpuinfo",
             "processor : 0\nvendor_id : GenuineIntel\nmodel name : Intel(R) Core(TM)\n"
             "physical id : 0\nsiblings : 2\ncpu cores : 1\ncpu MHz : 900\n\n"
             "processor : 1\nphysical id : 0\n");
  root.write("proc/meminfo", "MemTotal: 16777216 kB\n");
  const std::string processor = "sys/devices/system/cpu/cpu0/";
  root.write(processor + "cpufreq/cpuinfo_max_freq", "2600000\n");
  int index = 0;
  for (const auto& [level, type, size] :
       {std::array{"1", "Data", "32K"}, std::array{"1", "Instruction", "64K"},
        std::array{"2", "Unified", "256K"}, std::array{"3", "Unified", "9M"}}) {
    const std::string cache = processor + "cache/index" + std::to_string(index++) + "/";
    root.write(cache + "level", std::string(level) + "\n");
    root.write(cache + "type", std::string(type) + "\n");
    root.write(cache + "size", std::string(size) + "\n");
  }
  LinuxSystemControls controls(root.path());
  EXPECT_EQ(textControl(controls, "hw.model"), "MacBookPro15,1");
  EXPECT_EQ(textControl(controls, "kern.ostype"), "Linux");
  EXPECT_EQ(textControl(controls, "machdep.cpu.vendor"), "GenuineIntel");
  EXPECT_EQ(textControl(controls, "machdep.cpu.brand_string"), "Intel(R) Core(TM)");
  EXPECT_EQ(numberControl<std::int32_t>(controls, "machdep.cpu.core_count"), 1);
  EXPECT_EQ(numberControl<std::int32_t>(controls, "machdep.cpu.thread_count"), 2);
  EXPECT_EQ(numberControl<std::int32_t>(controls, "hw.packages"), 1);
  EXPECT_EQ(numberControl<std::int32_t>(controls, "hw.ncpu"), 2);
  EXPECT_EQ(numberControl<std::int32_t>(controls, "hw.byteorder"), 1234);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.cpufrequency"), 2600000000);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.l1dcachesize"), 32768);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.l1icachesize"), 65536);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.l2cachesize"), 262144);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.l3cachesize"), 9437184);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.memsize"), 17179869184);
  EXPECT_EQ(numberControl<std::int64_t>(controls, "hw.pagesize"), sysconf(_SC_PAGESIZE));
#ifdef __aarch64__
  constexpr std::int32_t kProcessorType = 16777228;
#else
  constexpr std::int32_t kProcessorType = 7;
#endif
  EXPECT_EQ(numberControl<std::int32_t>(controls, "hw.cputype"), kProcessorType);
  std::int32_t processors = 0;
  std::size_t size = sizeof processors;
  EXPECT_EQ(controls.byNumber(std::array{6, 3}, &processors, &size), 0);
  EXPECT_EQ(processors, 2);
}

TEST(LinuxSystemControls, WhatLinuxDoesNotReportIsAnUnknownControl) {
  const TemporaryFolder root;
  LinuxSystemControls controls(root.path());
  std::size_t size = 0;
  for (const char* name : {"hw.model", "machdep.cpu.brand_string", "hw.packages", "hw.ncpu",
                           "hw.cpufrequency", "hw.l2cachesize", "hw.memsize"}) {
    EXPECT_EQ(controls.byName(name, nullptr, &size), ENOENT) << name;
  }
}

TEST(LinuxHostStatistics, ReadsTheKernelsCounters) {
  const TemporaryFolder root;
  root.write("proc/stat", "cpu  1 1 1 1\ncpu0 1 2 3 4 0 0 0 0\n");
  root.write("proc/meminfo",
             "MemFree: 400 kB\nActive: 800 kB\nInactive: 1200 kB\nUnevictable: 40 kB\n"
             "SUnreclaim: 40 kB\nKernelStack: 40 kB\nPageTables: 40 kB\n");
  LinuxHostStatistics statistics(root.path());
  ASSERT_EQ(statistics.processorTicks()->size(), 1U);
  const auto pageSize = *statistics.pageSizeBytes();
  const auto memory = statistics.memoryPages();
  EXPECT_EQ(memory->free, 400U * 1024 / pageSize);
  EXPECT_EQ(memory->active, 800U * 1024 / pageSize);
  EXPECT_EQ(memory->inactive, 1200U * 1024 / pageSize);
  EXPECT_EQ(memory->wired, 160U * 1024 / pageSize);
  EXPECT_GT(statistics.uptimeSeconds(), 0);
}

TEST(LinuxHostStatistics, ReturnsNoneForFilesThatCannotBeRead) {
  const TemporaryFolder root;
  LinuxHostStatistics statistics(root.path());
  EXPECT_FALSE(statistics.processorTicks().has_value());
  EXPECT_FALSE(statistics.memoryPages().has_value());
  EXPECT_FALSE(statistics.fileSystemSize(root.path() + "/missing").has_value());
  const auto size = statistics.fileSystemSize(root.path());
  EXPECT_GT(size->totalBytes, 0);
  EXPECT_LE(size->freeBytes, size->totalBytes);
}

TEST(LinuxSystemFacts, ReportsTheSystemsVersionAndHost) {
  const TemporaryFolder root;
  root.write("etc/os-release", "PRETTY_NAME=\"Ubuntu 22.04.3 LTS\"\nVERSION_ID=\"22.04\"\n");
  LinuxSystemFacts facts(root.path());
  EXPECT_EQ(facts.osVersion()->major, 22);
  EXPECT_EQ(facts.osVersion()->minor, 4);
  EXPECT_EQ(facts.osVersion()->patch, 0);
  EXPECT_EQ(facts.osVersionText(), "Ubuntu 22.04.3 LTS");
  root.write("etc/os-release", "VERSION_ID=\"10.15.7\"\n");
  EXPECT_EQ(facts.osVersion()->minor, 15);
  EXPECT_EQ(facts.osVersion()->patch, 7);
  EXPECT_FALSE(facts.hostName().empty());
  EXPECT_EQ(facts.localizedHostName(), facts.hostName());
  root.write("etc/machine-info", "PRETTY_HOSTNAME=\"Anna's Mac\"\n");
  EXPECT_EQ(facts.localizedHostName(), "Anna's Mac");
}

TEST(LinuxSystemFacts, ASystemWithoutAVersionHasNone) {
  const TemporaryFolder root;
  LinuxSystemFacts facts(root.path());
  EXPECT_FALSE(facts.osVersion().has_value());
  EXPECT_EQ(facts.osVersionText(), "");
  root.write("etc/os-release", "VERSION_ID=rolling\n");
  EXPECT_FALSE(facts.osVersion().has_value());
}

TEST(LinuxSystemFacts, ThePrimaryAddressIsOneOfTheHosts) {
  LinuxSystemFacts facts;
  const auto addresses = facts.hostAddresses();
  const std::string primary = facts.primaryHostAddress();
  EXPECT_EQ(primary.empty(), addresses.empty());
  EXPECT_TRUE(primary.empty() ||
              std::find(addresses.begin(), addresses.end(), primary) != addresses.end());
}

TEST(LinuxSystemFacts, VolumesAreMountedBlockDevicesWithTheRootFirst) {
  const TemporaryFolder root;
  root.write("media/My Disk/file", "");
  root.write("etc/hosts", "");
  root.write("snap/core/file", "");
  root.write("proc/mounts",
             "proc /proc proc rw 0 0\n/dev/sdb1 /media/My\\040Disk vfat rw 0 0\n"
             "/dev/sda1 / ext4 rw 0 0\n/dev/sda1 /etc/hosts ext4 rw 0 0\n"
             "/dev/loop3 /snap/core squashfs ro 0 0\n");
  LinuxSystemFacts facts(root.path());
  EXPECT_EQ(facts.mountedVolumePaths(), (std::vector<std::string>{"/", "/media/My Disk"}));
}

TEST(LinuxSystemFacts, ADiskIsDescribedByTheKernelsFolders) {
  namespace fs = std::filesystem;
  const TemporaryFolder root;
  root.write("proc/mounts", "overlay / overlay rw 0 0\n/dev/mapper/root / ext4 rw 0 0\n");
  const std::string disk = "sys/devices/pci/block/sda/";
  root.write(disk + "device/model", "APPLE SSD AP0512M \n");
  root.write(disk + "removable", "0\n");
  root.write(disk + "sda2/partition", "2\n");
  root.write(disk + "sda2/size", "1000\n");
  root.write(disk + "sda2/uevent", "DEVNAME=sda2\nPARTNAME=Macintosh HD\n");
  const fs::path top = root.path();
  // The volume is on a mapped device on top of the partition.
  fs::create_directories(top / "sys/devices/virtual/block/dm-0/slaves");
  fs::create_directories(top / "sys/class/block");
  fs::create_directory_symlink(top / "sys/devices/virtual/block/dm-0",
                               top / "sys/class/block/dm-0");
  fs::create_directory_symlink(top / disk / "sda2",
                               top / "sys/devices/virtual/block/dm-0/slaves/sda2");
  root.write("dev/dm-0", "");
  fs::create_directories(top / "dev/mapper");
  fs::create_symlink("../dm-0", top / "dev/mapper/root");
  LinuxSystemFacts facts(root.path());
  const auto description = facts.diskDescription("/");
  ASSERT_TRUE(description.has_value());
  EXPECT_EQ(description->deviceModel, "APPLE SSD AP0512M ");
  EXPECT_EQ(description->mediaName, "Macintosh HD");
  EXPECT_EQ(description->mediaSizeBytes, 512000);
  EXPECT_FALSE(description->mediaRemovable);
  EXPECT_FALSE(facts.diskDescription("/missing").has_value());
  root.write(disk + "removable", "1\n");
  EXPECT_TRUE(facts.diskDescription("/")->mediaRemovable);
}

TEST(LinuxSystemFacts, AVolumeOnNoDiskHasNoDescription) {
  const TemporaryFolder root;
  root.write("proc/mounts", "overlay / overlay rw 0 0\n/dev/sdz9 /gone ext4 rw 0 0\n");
  LinuxSystemFacts facts(root.path());
  EXPECT_FALSE(facts.diskDescription("/").has_value());
  EXPECT_FALSE(facts.diskDescription("/gone").has_value());
}

TEST(LinuxSystemFacts, DisplaysAreTheConnectedOnesTheBuiltInFirst) {
  const TemporaryFolder root;
  const std::string drm = "sys/class/drm/";
  root.write(drm + "card0-DP-1/status", "connected\n");
  root.write(drm + "card0-DP-1/modes", "2560x1440\n1920x1080\n");
  root.write(drm + "card0-HDMI-A-1/status", "disconnected\n");
  root.write(drm + "card0-eDP-1/status", "connected\n");
  root.write(drm + "card0-eDP-1/modes", "1680x1050\n");
  root.write(drm + "version", "drm 1.1.0\n");
  const auto displays = LinuxSystemFacts(root.path()).activeDisplays();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_TRUE(displays[0].builtIn);
  EXPECT_EQ(displays[0].width, 1680);
  EXPECT_EQ(displays[0].height, 1050);
  EXPECT_FALSE(displays[1].builtIn);
  EXPECT_EQ(displays[1].width, 2560);
}

TEST(LinuxAuthorization, RootStartsToolsItself) {
  const auto children =
      std::make_shared<ScriptedChildProcesses>([](const auto&) { return ScriptedOutcome{}; });
  LinuxAuthorization authorization(children, true, "/no/such/pkexec");
  const auto grant = authorization.request("system.privilege.admin");
  ASSERT_NE(grant, nullptr);
  EXPECT_TRUE(grant->executeWithPrivileges("/bin/chmod", {"4755", "tool"}));
  ASSERT_EQ(children->requests.size(), 1U);
  EXPECT_EQ(children->requests.front().path, "/bin/chmod");
  EXPECT_EQ(children->requests.front().arguments, (std::vector<std::string>{"4755", "tool"}));
}

TEST(LinuxAuthorization, AnyoneElseIsAskedByAProgram) {
  const auto children =
      std::make_shared<ScriptedChildProcesses>([](const auto&) { return ScriptedOutcome{}; });
  LinuxAuthorization authorization(children, false, "/bin/true");
  const auto grant = authorization.request("system.privilege.admin");
  ASSERT_NE(grant, nullptr);
  EXPECT_TRUE(grant->executeWithPrivileges("/bin/chmod", {"4755"}));
  EXPECT_EQ(children->requests.front().path, "/bin/true");
  EXPECT_EQ(children->requests.front().arguments, (std::vector<std::string>{"/bin/chmod", "4755"}));
}

TEST(LinuxAuthorization, AToolOfAnotherFolderIsFoundInTheSystemsOwn) {
  const auto children =
      std::make_shared<ScriptedChildProcesses>([](const auto&) { return ScriptedOutcome{}; });
  const auto grant = LinuxAuthorization(children, true, "").request("r");
  EXPECT_TRUE(grant->executeWithPrivileges("/usr/nowhere/chown", {"root:admin", "tool"}));
  EXPECT_EQ(children->requests.at(0).path, "/usr/bin/chown");
}

TEST(LinuxAuthorization, ToolsOfOneGrantRunOneAfterTheOtherAndNoneAfterAFailure) {
  int exitStatus = 0;
  const auto children = std::make_shared<ScriptedChildProcesses>([&](const auto&) {
    return ScriptedOutcome{"", exitStatus};
  });
  const auto grant = LinuxAuthorization(children, false, "/bin/true").request("r");
  EXPECT_TRUE(grant->executeWithPrivileges("/bin/chmod", {"1"}));
  EXPECT_EQ(children->waits, 0);
  exitStatus = 126;  // pkexec's when the user cancels
  EXPECT_TRUE(grant->executeWithPrivileges("/bin/chmod", {"2"}));
  EXPECT_EQ(children->waits, 1);
  EXPECT_FALSE(grant->executeWithPrivileges("/bin/chmod", {"3"}));
  EXPECT_EQ(children->requests.size(), 2U);
}

TEST(LinuxAuthorization, IsRefusedWhereNothingCanAsk) {
  const auto children =
      std::make_shared<ScriptedChildProcesses>([](const auto&) { return std::nullopt; });
  EXPECT_EQ(LinuxAuthorization(children, false, "/no/such/pkexec").request("r"), nullptr);
  const auto grant = LinuxAuthorization(children, true, "").request("r");
  EXPECT_FALSE(grant->executeWithPrivileges("/no/such/tool", {}));
}

TEST(LivePlatform, IsLiveAndCarriesEveryPort) {
  const auto platform = Platform::live();
  EXPECT_TRUE(platform->isLive());
  EXPECT_FALSE(platform->title().empty());
  const platform::Ports& ports = platform->ports();
  EXPECT_TRUE(ports.smc && ports.hid && ports.registry && ports.systemControls &&
              ports.hostStatistics && ports.systemFacts && ports.childProcesses &&
              ports.workspace && ports.authorization && ports.files && ports.mainBundle &&
              ports.userDefaults && ports.notificationCentres && ports.mainQueue);
  EXPECT_FALSE(platform->hid().createClient()->copyServices().has_value());
  EXPECT_TRUE(platform->registry().matchingServices("IOPCIDevice")->empty());
}

}  // namespace
}  // namespace kelvora::testing
