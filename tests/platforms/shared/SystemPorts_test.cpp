// System controls, statistics of the host, and facts about the system.
#include <array>
#include <cerrno>
#include <string>

#include "platforms/shared/SystemControlTable.h"
#include "tests/platforms/shared/PortsTest.h"

namespace kelvora::testing {
namespace {

class SystemControlsPort : public PortsTest {
 protected:
  SystemControlsPort() {
    platform::RecordedMachine machine;
    machine.sysctl["hw.model"] = platform::textControlBytes("Mac");
    machine.sysctl["hw.ncpu"] = platform::int32ControlBytes(12);
    machine.sysctl["hw.pagesize"] = platform::int64ControlBytes(16384);
    boot(machine);
  }
  platform::SystemControls& controls() { return *ports.systemControls; }
};

TEST_F(SystemControlsPort, ReturnsTheSizeThenTheBytes) {
  std::size_t size = 99;
  EXPECT_EQ(controls().byName("hw.model", nullptr, &size), 0);
  EXPECT_EQ(size, 4U);
  std::array<char, 10> text{};
  size = text.size();
  EXPECT_EQ(controls().byName("hw.model", text.data(), &size), 0);
  EXPECT_EQ(size, 4U);
  EXPECT_STREQ(text.data(), "Mac");
}

TEST_F(SystemControlsPort, ATooSmallBufferIsFilledAndReturnsAnError) {
  std::array<char, 3> text{'x', 'x', 'x'};
  std::size_t size = 2;
  EXPECT_EQ(controls().byName("hw.model", text.data(), &size), ENOMEM);
  EXPECT_EQ(size, 2U);
  EXPECT_EQ(std::string(text.data(), 3), "Max");
}

TEST_F(SystemControlsPort, AnUnknownNameOrNumberDoesNotExist) {
  boot({});
  std::size_t size = 0;
  EXPECT_EQ(controls().byName("hw.model", nullptr, &size), ENOENT);
  EXPECT_EQ(controls().byNumber(std::array{6, 3}, nullptr, &size), ENOENT);
  EXPECT_EQ(controls().byNumber(std::array{1, 2}, nullptr, &size), ENOENT);
  EXPECT_EQ(controls().byNumber(std::array{4, 17, 0, 0, 6}, nullptr, &size), ENOENT);
}

TEST_F(SystemControlsPort, ProcessorsAndPageSizeAreFourByteValuesByNumber) {
  std::int32_t value = 0;
  std::size_t size = sizeof value;
  EXPECT_EQ(controls().byNumber(std::array{6, 3}, &value, &size), 0);
  EXPECT_EQ(value, 12);
  EXPECT_EQ(controls().byNumber(std::array{6, 7}, &value, &size), 0);
  EXPECT_EQ(value, 16384);
  EXPECT_EQ(size, sizeof value);
}

class HostStatisticsPort : public PortsTest {
 protected:
  HostStatisticsPort() {
    platform::RecordedMachine machine;
    machine.statistics.uptimeSeconds = 12345.5;
    machine.statistics.processorTicks = {{1, 2, 3, 4}, {0xffffffff, 6, 7, 8}};
    machine.statistics.pageSizeBytes = 16384;
    machine.statistics.memory = platform::MemoryPages{10, 20, 30, 0xfffffff0};
    machine.statistics.fileSystem = platform::FileSystemSize{499963174912, 1234567890};
    boot(machine);
  }
  platform::HostStatistics& statistics() { return *ports.hostStatistics; }
};

TEST_F(HostStatisticsPort, AreThoseOfTheHost) {
  const auto ticks = statistics().processorTicks();
  ASSERT_TRUE(ticks.has_value());
  ASSERT_EQ(ticks->size(), 2U);
  EXPECT_EQ((*ticks)[0].user, 1U);
  EXPECT_EQ((*ticks)[0].system, 2U);
  EXPECT_EQ((*ticks)[0].idle, 3U);
  EXPECT_EQ((*ticks)[0].nice, 4U);
  EXPECT_EQ((*ticks)[1].user, 0xffffffffU);
  const auto pages = statistics().memoryPages();
  ASSERT_TRUE(pages.has_value());
  EXPECT_EQ(pages->free, 10U);
  EXPECT_EQ(pages->active, 20U);
  EXPECT_EQ(pages->inactive, 30U);
  EXPECT_EQ(pages->wired, 0xfffffff0U);
  EXPECT_EQ(statistics().pageSizeBytes(), 16384U);
  EXPECT_NEAR(statistics().uptimeSeconds(), 12345.5, 1e-6);
}

TEST_F(HostStatisticsPort, AFileSystemHasASizeWhereOneIsMounted) {
  const auto size = statistics().fileSystemSize("/");
  ASSERT_TRUE(size.has_value());
  EXPECT_EQ(size->totalBytes, 499963174912);
  EXPECT_EQ(size->freeBytes, 1234567890);
  EXPECT_FALSE(statistics().fileSystemSize("/Volumes/None").has_value());
}

TEST_F(HostStatisticsPort, AHostThatReturnsNothingHasNone) {
  boot({});
  EXPECT_FALSE(statistics().processorTicks().has_value());
  EXPECT_FALSE(statistics().memoryPages().has_value());
  EXPECT_FALSE(statistics().fileSystemSize("/").has_value());
}

class SystemFactsPort : public PortsTest {
 protected:
  SystemFactsPort() {
    platform::RecordedMachine machine;
    machine.osVersion = platform::OSVersion{10, 14, 4};
    machine.osText = "Version 10.14.4 (Build 18E226)";
    machine.localizedHostName = "Annas MacBook";
    machine.hostName = "annas-macbook.local";
    machine.hostAddresses = {"fe80::1", "127.0.0.1"};
    machine.volumes = {{"/", {"APPLE SSD Media", " APPLE SSD ", 500277790720, false}},
                       {"/Volumes/Stick", {"Stick", std::nullopt, std::nullopt, true}},
                       {"/Volumes/Net", {}}};
    machine.displays = {{true, 1680, 1050}, {false, 2560, 1440}};
    boot(machine);
  }
  platform::SystemFacts& facts() { return *ports.systemFacts; }
};

TEST_F(SystemFactsPort, VersionNamesAndAddressesAreThoseOfTheSystem) {
  ASSERT_TRUE(facts().osVersion().has_value());
  EXPECT_EQ(facts().osVersion()->major, 10);
  EXPECT_EQ(facts().osVersion()->minor, 14);
  EXPECT_EQ(facts().osVersion()->patch, 4);
  EXPECT_EQ(facts().osVersionText(), "Version 10.14.4 (Build 18E226)");
  EXPECT_EQ(facts().localizedHostName(), "Annas MacBook");
  EXPECT_EQ(facts().hostName(), "annas-macbook.local");
  EXPECT_EQ(facts().hostAddresses(), (std::vector<std::string>{"fe80::1", "127.0.0.1"}));
}

TEST_F(SystemFactsPort, ADiskIsDescribedByWhatItHas) {
  EXPECT_EQ(facts().mountedVolumePaths(),
            (std::vector<std::string>{"/", "/Volumes/Stick", "/Volumes/Net"}));
  const auto disk = facts().diskDescription("/");
  ASSERT_TRUE(disk.has_value());
  EXPECT_EQ(disk->mediaName, "APPLE SSD Media");
  EXPECT_EQ(disk->deviceModel, " APPLE SSD ");
  EXPECT_EQ(disk->mediaSizeBytes, 500277790720);
  EXPECT_FALSE(disk->mediaRemovable);
  const auto stick = facts().diskDescription("/Volumes/Stick");
  ASSERT_TRUE(stick.has_value());
  EXPECT_EQ(stick->deviceModel, std::nullopt);
  EXPECT_EQ(stick->mediaSizeBytes, std::nullopt);
  EXPECT_TRUE(stick->mediaRemovable);
  EXPECT_FALSE(facts().diskDescription("/Volumes/None").has_value());
}

TEST_F(SystemFactsPort, ActiveDisplaysAreInOrder) {
  const auto displays = facts().activeDisplays();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_TRUE(displays[0].builtIn);
  EXPECT_EQ(displays[0].width, 1680);
  EXPECT_FALSE(displays[1].builtIn);
  EXPECT_EQ(displays[1].height, 1440);
}

}  // namespace
}  // namespace kelvora::testing
