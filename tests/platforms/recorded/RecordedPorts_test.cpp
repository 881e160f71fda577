#include <array>

#include <gtest/gtest.h>

#include "platforms/recorded/RecordedSystem.h"
#include "platforms/shared/SystemControlTable.h"
#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

using platform::SystemControlTable;

TEST(SystemControlTable, TheListOfInterfacesIsItsOwnAndEmptyWithoutOne) {
  constexpr std::array kList = {4, 17, 0, 0, 6, 0};
  std::array<char, 4> text{};
  std::size_t size = 1;
  EXPECT_EQ(SystemControlTable({}).byNumber(kList, nullptr, &size), 0);
  EXPECT_EQ(size, 0U);
  SystemControlTable controls({}, platform::textControlBytes("abc"));
  EXPECT_EQ(controls.byNumber(kList, nullptr, &size), 0);
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(controls.byNumber(kList, text.data(), &size), 0);
  EXPECT_STREQ(text.data(), "abc");
}

TEST(RecordedChildProcesses, AListedCommandPrintsWhatWasRecorded) {
  platform::RecordedChildProcesses children({{"/bin/ps", {"-A"}, "PID\n"}});
  const auto launch = children.launch({"/bin/ps", {"-A"}, true, false, 0});
  ASSERT_NE(launch.child, nullptr);
  std::array<std::byte, 3> buffer;
  EXPECT_EQ(launch.child->readStandardOutput(buffer), 3U);
  EXPECT_EQ(launch.child->readStandardOutput(buffer), 1U);
  EXPECT_EQ(launch.child->readStandardOutput(buffer), 0U);
  EXPECT_EQ(launch.child->waitUntilExit(), 0);
}

TEST(RecordedChildProcesses, AnythingElseCannotBeLaunched) {
  platform::RecordedChildProcesses children({{"/bin/ps", {"-A"}, "PID\n"}});
  for (const auto& request : {platform::ChildRequest{"/bin/ps", {}, true, false, 0},
                              platform::ChildRequest{"/bin/ps", {"-A", "-r"}, true, false, 0},
                              platform::ChildRequest{"/usr/bin/true", {"-A"}, true, false, 0}}) {
    const auto launch = children.launch(request);
    EXPECT_EQ(launch.child, nullptr);
    EXPECT_EQ(launch.failure, "No such file or directory");
  }
}

TEST(RecordedWorkspace, ListsApplicationsAndChangesNone) {
  platform::RecordedWorkspace workspace({{412, "com.apple.Safari", "Safari"}});
  ASSERT_EQ(workspace.runningApplications().size(), 1U);
  ASSERT_TRUE(workspace.runningApplication(412));
  EXPECT_EQ(workspace.runningApplication(412)->localizedName, "Safari");
  EXPECT_FALSE(workspace.runningApplication(413));
  EXPECT_FALSE(workspace.terminate(workspace.runningApplications().front(), true));
  EXPECT_FALSE(workspace.launchApplication("com.apple.Safari"));
  std::optional<std::string> failure;
  workspace.openApplication("/Applications/Safari.app", [&](auto text) { failure = text; });
  EXPECT_EQ(failure, "a recorded machine opens no applications");
  EXPECT_EQ(workspace.runningApplications().size(), 1U);
}

TEST(RecordedSystemFacts, ReturnsTheFactsOfTheFile) {
  const auto platform = recordedPlatform(recordedMachine("MacBookPro15,1"));
  auto& facts = platform->systemFacts();
  EXPECT_EQ(facts.osVersion()->major, 10);
  EXPECT_EQ(facts.osVersion()->minor, 14);
  EXPECT_EQ(facts.osVersion()->patch, 4);
  EXPECT_EQ(facts.osVersionText(), "Version 10.14.4 (Build 18E226)");
  EXPECT_EQ(facts.localizedHostName(), "MacBook Pro 15-inch 2018");
  EXPECT_EQ(facts.hostName(), "macbook-pro-15-inch-2018.local");
  EXPECT_EQ(facts.hostAddresses().size(), 3U);
  EXPECT_EQ(facts.primaryHostAddress(), "127.0.0.1");
  EXPECT_EQ(facts.mountedVolumePaths(), std::vector<std::string>{"/"});
  EXPECT_EQ(facts.diskDescription("/")->deviceModel, "APPLE SSD AP0512M Media");
  EXPECT_FALSE(facts.diskDescription("/Volumes/Backup").has_value());
  ASSERT_EQ(facts.activeDisplays().size(), 1U);
  EXPECT_EQ(facts.activeDisplays().front().width, 1680);
}

TEST(RecordedHostStatistics, ReturnsTheStatisticsOfTheFile) {
  const auto platform = recordedPlatform(recordedMachine("MacBookPro15,1"));
  auto& statistics = platform->hostStatistics();
  EXPECT_EQ(statistics.processorTicks()->size(), 12U);
  EXPECT_EQ(statistics.pageSizeBytes(), 4096U);
  EXPECT_EQ(statistics.uptimeSeconds(), 93784.5);
  EXPECT_TRUE(statistics.fileSystemSize("/").has_value());
  EXPECT_FALSE(statistics.fileSystemSize("/Volumes/Backup").has_value());
  platform::RecordedStatistics recorded;
  recorded.memory = {.free = 1, .active = 2, .inactive = 3, .wired = 4};
  platform::RecordedHostStatistics some(recorded);
  EXPECT_EQ(some.memoryPages()->inactive, 3U);
  platform::RecordedHostStatistics nothing({});
  EXPECT_EQ(nothing.uptimeSeconds(), 0);
  EXPECT_FALSE(nothing.memoryPages().has_value());
}

TEST(RecordedPlatform, GrantsNoRights) {
  const auto platform = recordedPlatform(recordedMachine("MacBookPro15,1"));
  EXPECT_EQ(platform->authorization().request("system.privilege.admin"), nullptr);
}

TEST(MemoryUserDefaults, SuitesOfOneNameShareTheirValues) {
  platform::MemoryUserDefaults defaults;
  const auto one = defaults.suite("group.com.kelvora");
  const auto two = defaults.suite("group.com.kelvora");
  const auto other = defaults.suite("other");
  one->setObject("key", 5);
  EXPECT_EQ(two->object("key"), PropertyListValue(5));
  EXPECT_EQ(other->object("key"), std::nullopt);
  two->removeObject("key");
  EXPECT_EQ(one->object("key"), std::nullopt);
  EXPECT_EQ(two->setObjectIfAbsent("key", 6), PropertyListValue(6));
  EXPECT_EQ(one->setObjectIfAbsent("key", 7), PropertyListValue(6));
  EXPECT_EQ(one->objects(), (PropertyListValue::Dictionary{{"key", 6}}));
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), std::nullopt);
  defaults.setGlobalObject("AppleInterfaceStyle", "Dark");
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), PropertyListValue("Dark"));
}

}  // namespace
}  // namespace kelvora::testing
