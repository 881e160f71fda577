#include "platforms/macos/system/MacSystemFacts.h"

#include "platforms/recorded/RecordedSystem.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacSystemFacts;

platform::RecordedMachine machineWithDisk() {
  platform::RecordedMachine machine;
  machine.volumes = {{"/", {"APPLE SSD Media", " APPLE SSD ", 500277790720, false}},
                     {"/Volumes/Stick", {"Stick", std::nullopt, std::nullopt, true}},
                     {"/Volumes/Net", {}}};
  return machine;
}

class MacSystemFactsTest : public SystemTest {
 protected:
  MacSystemFactsTest() { Host::shared().boot(machineWithDisk()); }
  MacSystemFacts facts;
};

TEST_F(MacSystemFactsTest, ADiskIsDescribedThroughASessionAndReleased) {
  const auto disk = facts.diskDescription("/");
  ASSERT_TRUE(disk.has_value());
  EXPECT_EQ(disk->mediaName, "APPLE SSD Media");
  EXPECT_EQ(disk->deviceModel, " APPLE SSD ");
  EXPECT_EQ(disk->mediaSizeBytes, 500277790720);
  EXPECT_FALSE(disk->mediaRemovable);
  EXPECT_EQ(takeCalls(), (Calls{"DASessionCreate()", "DADiskCreateFromVolumePath(\"/\")",
                                "DADiskCopyDescription()"}));
}

TEST_F(MacSystemFactsTest, FieldsThatADescriptionLacksHaveNoValue) {
  const auto stick = facts.diskDescription("/Volumes/Stick");
  ASSERT_TRUE(stick.has_value());
  EXPECT_EQ(stick->deviceModel, std::nullopt);
  EXPECT_EQ(stick->mediaSizeBytes, std::nullopt);
  EXPECT_TRUE(stick->mediaRemovable);
  EXPECT_FALSE(facts.diskDescription("/Volumes/Net").has_value());
  EXPECT_FALSE(facts.diskDescription("/Volumes/None").has_value());
  EXPECT_FALSE(facts.diskDescription("").has_value());
}

TEST_F(MacSystemFactsTest, EachCallOfADescriptionThatFailsMakesItNoneAndLeavesNothingOpen) {
  for (const char* function : {"DASessionCreate", "CFURLCreateFromFileSystemRepresentation",
                               "DADiskCreateFromVolumePath", "DADiskCopyDescription"}) {
    ledger.failCall(function);
    EXPECT_FALSE(facts.diskDescription("/").has_value()) << function;
    EXPECT_TRUE(facts.diskDescription("/").has_value()) << function;
    ledger.failCallsFrom(function);
    EXPECT_FALSE(facts.diskDescription("/").has_value()) << function;
    EXPECT_TRUE(ledger.open().empty() || ledger.open().begin()->second == 0) << function;
    ledger.failNothing();
  }
}

TEST_F(MacSystemFactsTest, ActiveDisplaysAreAtMost32) {
  platform::RecordedMachine machine;
  machine.displays = {{true, 1680, 1050}, {false, 2560, 1440}};
  Host::shared().boot(machine);
  const auto displays = facts.activeDisplays();
  ASSERT_EQ(displays.size(), 2U);
  EXPECT_TRUE(displays[0].builtIn);
  EXPECT_EQ(displays[0].width, 1680);
  EXPECT_EQ(displays[1].height, 1440);
  EXPECT_FALSE(displays[1].builtIn);
  EXPECT_EQ(takeCalls(), (Calls{"CGGetActiveDisplayList(32)"}));
  machine.displays.assign(40, {});
  Host::shared().boot(machine);
  EXPECT_EQ(facts.activeDisplays().size(), 32U);
  ledger.failCall("CGGetActiveDisplayList");
  EXPECT_TRUE(facts.activeDisplays().empty());
}

class MacSystemFactsOfRecordedMac : public SystemTest,
                                    public ::testing::WithParamInterface<const char*> {};

TEST_P(MacSystemFactsOfRecordedMac, AreWhatWasRecorded) {
  const auto machine = recordedMachine(GetParam());
  Host::shared().boot(machine);
  MacSystemFacts mac;
  platform::RecordedSystemFacts recorded(machine);
  ASSERT_EQ(mac.osVersion().has_value(), recorded.osVersion().has_value());
  EXPECT_EQ(mac.osVersion()->major, recorded.osVersion()->major);
  EXPECT_EQ(mac.osVersion()->minor, recorded.osVersion()->minor);
  EXPECT_EQ(mac.osVersion()->patch, recorded.osVersion()->patch);
  EXPECT_EQ(mac.osVersionText(), recorded.osVersionText());
  EXPECT_EQ(mac.localizedHostName(), recorded.localizedHostName());
  EXPECT_EQ(mac.hostName(), recorded.hostName());
  EXPECT_EQ(mac.hostAddresses(), recorded.hostAddresses());
  EXPECT_EQ(mac.primaryHostAddress(), recorded.primaryHostAddress());
  EXPECT_EQ(mac.mountedVolumePaths(), recorded.mountedVolumePaths());
  for (const std::string& path : mac.mountedVolumePaths()) {
    const auto disk = mac.diskDescription(path);
    const auto expected = recorded.diskDescription(path);
    ASSERT_EQ(disk.has_value(), expected.has_value());
    EXPECT_TRUE(!disk || (disk->mediaName == expected->mediaName &&
                          disk->deviceModel == expected->deviceModel &&
                          disk->mediaSizeBytes == expected->mediaSizeBytes &&
                          disk->mediaRemovable == expected->mediaRemovable));
  }
  EXPECT_EQ(mac.activeDisplays().size(), recorded.activeDisplays().size());
}

INSTANTIATE_TEST_SUITE_P(Recorded, MacSystemFactsOfRecordedMac,
                         ::testing::ValuesIn(kRecordedMachines));

}  // namespace
}  // namespace kelvora::testing::mac
