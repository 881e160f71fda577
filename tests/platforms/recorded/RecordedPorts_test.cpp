#include <array>
#include <cerrno>

#include <gtest/gtest.h>

#include "platforms/recorded/RecordedHID.h"
#include "platforms/recorded/RecordedRegistry.h"
#include "platforms/recorded/RecordedSystem.h"
#include "platforms/shared/SystemControlTable.h"
#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

using platform::RecordedHID;
using platform::RecordedHIDService;
using platform::RecordedRegistry;
using platform::RecordedRegistryEntry;
using platform::SystemControlTable;

TEST(RecordedHID, ListsTheMatchingServicesInOrder) {
  RecordedHID hid(std::vector<RecordedHIDService>{{65280, 5, "B", {{15, 44.28}}},
                                                  {65288, 3, "V", {{25, 1.1}}},
                                                  {65280, 5, std::nullopt, {}},
                                                  {65280, 5, "A", {}}});
  const auto client = hid.createClient();
  client->setMatching({{"PrimaryUsagePage", 65280}, {"PrimaryUsage", 5}});
  const auto services = client->copyServices();
  ASSERT_TRUE(services.has_value());
  ASSERT_EQ(services->size(), 3U);
  EXPECT_EQ((*services)[0]->copyProperty("Product"), "B");
  EXPECT_EQ((*services)[0]->copyProperty("Other"), std::nullopt);
  EXPECT_EQ((*services)[1]->copyProperty("Product"), std::nullopt);
  EXPECT_EQ((*services)[2]->copyProperty("Product"), "A");
}

TEST(RecordedHID, AnEventHoldsItsValueInItsFirstField) {
  RecordedHID hid(std::vector<RecordedHIDService>{{65280, 5, "B", {{15, 44.28}}}});
  const auto client = hid.createClient();
  const auto services = client->copyServices();
  const auto event = services->front()->copyEvent(15, 0, 0);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->floatValue(983040), 44.28);
  EXPECT_EQ(event->floatValue(983041), 0);
  EXPECT_EQ(services->front()->copyEvent(25, 0, 0), nullptr);
  EXPECT_EQ(services->front()->copyEvent(std::int64_t{1} << 40, 0, 0), nullptr);
}

TEST(RecordedHID, ReturnsNoneWhenNothingMatches) {
  RecordedHID hid(std::vector<RecordedHIDService>{{65280, 5, "B", {}}});
  const auto client = hid.createClient();
  client->setMatching({{"PrimaryUsagePage", 65288}, {"PrimaryUsage", 5}});
  EXPECT_FALSE(client->copyServices().has_value());
  EXPECT_FALSE(RecordedHID(std::nullopt).createClient()->copyServices().has_value());
}

TEST(RecordedRegistry, AnswersTheServicesOfAClassInOrder) {
  RecordedRegistry registry(RecordedRegistry::Services{
      {"A", {"first", {{"count", 3}}, {{"child", {}, {{"grandchild", {}, {}}}}}}},
      {"B", {}},
      {"A", {"second", {}, {}}}});
  const auto services = registry.matchingServices("A");
  ASSERT_EQ(services->size(), 2U);
  const auto& first = *services->front();
  EXPECT_EQ(first.name(), "first");
  EXPECT_EQ(first.property("count"), PropertyListValue(3));
  EXPECT_EQ(first.property("other"), std::nullopt);
  EXPECT_EQ(first.properties()->size(), 1U);
  const auto children = first.children("IOService");
  ASSERT_EQ(children.size(), 1U);
  EXPECT_EQ(children.front()->children("IOService").front()->name(), "grandchild");
  EXPECT_EQ(services->back()->name(), "second");
}

TEST(RecordedRegistry, AClassThatIsNotListedHasNoServicesAndAnAbsentRegistryFails) {
  EXPECT_TRUE(RecordedRegistry(RecordedRegistry::Services{}).matchingServices("A")->empty());
  EXPECT_FALSE(RecordedRegistry(std::nullopt).matchingServices("A").has_value());
}

TEST(RecordedRegistry, EntriesOutliveTheRegistry) {
  std::vector<std::unique_ptr<platform::RegistryEntry>> children;
  {
    RecordedRegistry registry(
        RecordedRegistry::Services{{"A", {"first", {}, {{"child", {}, {}}}}}});
    children = registry.matchingServices("A")->front()->children("IOService");
  }
  EXPECT_EQ(children.front()->name(), "child");
}

TEST(SystemControlTable, ReturnsTheSizeThenTheBytes) {
  SystemControlTable controls({{"hw.model", platform::textControlBytes("Mac")}});
  std::size_t size = 99;
  EXPECT_EQ(controls.byName("hw.model", nullptr, &size), 0);
  EXPECT_EQ(size, 4U);
  std::array<char, 10> text{};
  size = text.size();
  EXPECT_EQ(controls.byName("hw.model", text.data(), &size), 0);
  EXPECT_EQ(size, 4U);
  EXPECT_STREQ(text.data(), "Mac");
}

TEST(SystemControlTable, ATooSmallBufferIsFilledAndReturnsAnError) {
  SystemControlTable controls({{"hw.model", platform::textControlBytes("Mac")}});
  std::array<char, 3> text{'x', 'x', 'x'};
  std::size_t size = 2;
  EXPECT_EQ(controls.byName("hw.model", text.data(), &size), ENOMEM);
  EXPECT_EQ(size, 2U);
  EXPECT_EQ(std::string(text.data(), 3), "Max");
}

TEST(SystemControlTable, AnUnknownNameOrNumberDoesNotExist) {
  SystemControlTable controls({});
  std::size_t size = 0;
  EXPECT_EQ(controls.byName("hw.model", nullptr, &size), ENOENT);
  EXPECT_EQ(controls.byNumber(std::array{6, 3}, nullptr, &size), ENOENT);
  EXPECT_EQ(controls.byNumber(std::array{4, 17, 0, 0, 6}, nullptr, &size), ENOENT);
}

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

TEST(SystemControlTable, ProcessorsAndPageSizeAreFourByteValuesByNumber) {
  SystemControlTable controls({{"hw.ncpu", platform::int32ControlBytes(12)},
                               {"hw.pagesize", platform::int64ControlBytes(16384)}});
  std::int32_t value = 0;
  std::size_t size = sizeof value;
  EXPECT_EQ(controls.byNumber(std::array{6, 3}, &value, &size), 0);
  EXPECT_EQ(value, 12);
  EXPECT_EQ(controls.byNumber(std::array{6, 7}, &value, &size), 0);
  EXPECT_EQ(value, 16384);
  EXPECT_EQ(size, sizeof value);
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
