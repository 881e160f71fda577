#include "fans/LeaseMachine.h"

#include <filesystem>

#include "fans/LeaseRecord.h"
#include "ports/Ports.h"
#include "tests/fans/LeaseFixture.h"
#include "tests/support/ForwardingPorts.h"

namespace kelvora::testing {
namespace {

using std::chrono::system_clock;

constexpr char kOtherMac[] = "Mac mini 2018 (recorded)";

class LeaseMachineTest : public LeaseFixture {
 protected:
  // As a program leaves it that was killed together with its guardian.
  void leaveBehind(const std::string& machine, const FanWrite& handBack = {"F0Mn", "21c0"}) const {
    std::filesystem::create_directories(*KVUtils::groupContainerLocation(*platform));
    ASSERT_EQ(
        writeLease(*platform, {"Test Host", 612, system_clock::now(), {0, handBack}, "", machine}),
        "");
  }
  void expectNothingWrittenFor(const std::string& machine) const {
    for (const auto& leases :
         {KVFanLeases::leasedFans(*platform), KVFanLeases::handBackLeftBehind(*platform)}) {
      ASSERT_EQ(leases.size(), 1U);
      EXPECT_EQ(leases[0].fault, "is a fan of " + machine + ", not of this machine");
      EXPECT_EQ(leases[0].minimum, std::nullopt);
      EXPECT_EQ(leases[0].program, "Test Host");
    }
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(isOnDisk());
  }
};

TEST_F(LeaseMachineTest, ALeaseNamesItsMachine) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(readLease(*platform, 0).record->machine, "MacBook Pro 15-inch 2018 (recorded)");
  EXPECT_EQ(machineOf(*platform), "MacBook Pro 15-inch 2018 (recorded)");
}

TEST_F(LeaseMachineTest, AMinimumGoesToItsOwnMachine) {
  for (const std::string& machine : {machineOf(*platform), std::string()}) {
    leaveBehind(machine);
    const auto leases = KVFanLeases::leasedFans(*platform);
    ASSERT_EQ(leases.size(), 1U);
    EXPECT_EQ(leases[0].fault, "");
    EXPECT_EQ(leases[0].minimum, 2160);
    ASSERT_EQ(KVFanLeases::handBackLeftBehind(*platform).size(), 1U);
    EXPECT_EQ(valueOf("F0Mn"), "21c0");
    EXPECT_FALSE(isOnDisk());
  }
}

TEST_F(LeaseMachineTest, ALeaseOfTheChosenMacIsLeftAloneByAnother) {
  Platform::choose(KELVORA_MACHINES "/Macmini8,1.json");
  leaveBehind(kOtherMac);
  expectNothingWrittenFor(kOtherMac);
}

TEST_F(LeaseMachineTest, ALeaseIsLeftAloneWhileTheChoiceCannotBeRead) {
  folder.write("Kelvora/Machine.json", "{");
  leaveBehind(kOtherMac);
  expectNothingWrittenFor(kOtherMac);
}

TEST_F(LeaseMachineTest, ALeaseOfAMacIsLeftAloneByARecording) {
  leaveBehind("MacBookPro14,3");
  expectNothingWrittenFor("MacBookPro14,3");
}

TEST_F(LeaseMachineTest, ALeaseOfARecordedMacThatIsNoLongerChosenIsRemoved) {
  leaveBehind(kOtherMac);
  EXPECT_EQ(KVFanLeases::leasedFans(*platform).size(), 1U);
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
  EXPECT_TRUE(writes().empty());
  EXPECT_FALSE(isOnDisk());
}

TEST_F(LeaseMachineTest, ALeaseOfARecordedMacThatIsNoLongerChosenIsAFaultWhileItCannotBeRemoved) {
  leaveBehind(kOtherMac);
  auto& files = wrapPort<ForwardingFiles>(platform->ports().files);
  files.onRemove = [](const std::string&) { return false; };
  const auto left = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].fan, 0);
  EXPECT_EQ(left[0].fault,
            *KVUtils::groupContainerLocation(*platform) + "/Fan0.plist: cannot be removed");
  files.onRemove = nullptr;
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
  EXPECT_FALSE(isOnDisk());
}

TEST_F(LeaseMachineTest, ALeaseThatCameFromAnotherMacIsRemoved) {
  leaveBehind("MacBookPro14,3");
  const auto live = Platform::live();
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*live).empty());
  EXPECT_TRUE(writes().empty());
  EXPECT_FALSE(isOnDisk());
}

// Its fan may be at a fixed speed.
TEST_F(LeaseMachineTest, ALeaseIsNotForgottenWhileTheModelCannotBeRead) {
  leaveBehind("MacBookPro15,1", {"F0Md", "00"});
  const auto mac = Platform::live();
  mac->ports().smc = std::move(recordedPlatform(recordedMachine(kWithModes))->ports().smc);
  wrapPort<ForwardingSystemControls>(mac->ports().systemControls).onByName =
      [](const char*, void*, std::size_t*) { return -1; };
  ASSERT_EQ(machineOf(*mac), "");
  const auto left = KVFanLeases::handBackLeftBehind(*mac);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].fault, "");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

TEST_F(LeaseMachineTest, ATakeIsRefusedWhileTheLeaseIsOfAnother) {
  Platform::choose(KELVORA_MACHINES "/Macmini8,1.json");
  leaveBehind(kOtherMac);
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(), "fan 0: is a fan of Mac mini 2018 (recorded), not of this machine");
}

// --- what is on the disk

TEST_F(LeaseMachineTest, WhatAKilledWriterLeftIsRemoved) {
  leaveBehind(machineOf(*platform), {"F0Md", "00"});
  const std::string left = folder.write("group.com.kelvora/Fan0.plist.new", "<plist");
  const std::string alone = folder.write("group.com.kelvora/Fan1.plist.new", "<plist");
  EXPECT_EQ(KVFanLeases::handBackLeftBehind(*platform).size(), 1U);
  EXPECT_FALSE(std::filesystem::exists(left));
  EXPECT_FALSE(std::filesystem::exists(alone));
}

TEST_F(LeaseMachineTest, WhatALivingWriterWritesIsLeftAlone) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  const std::string next = folder.write("group.com.kelvora/Fan0.plist.new", "<plist");
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
  EXPECT_TRUE(std::filesystem::exists(next));
}

}  // namespace
}  // namespace kelvora::testing
