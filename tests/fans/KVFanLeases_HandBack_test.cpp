// Fans that are handed back at once, with or without a lease.
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVProcessLock.h"

#include "fans/LeaseMachine.h"
#include "fans/LeaseRecord.h"
#include "tests/fans/LeaseFixture.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

constexpr std::chrono::minutes kLong{1};
constexpr std::chrono::milliseconds kNone{0};

class KVFanLeasesHandBack : public LeaseFixture {
 protected:
  std::vector<KVFanHandBack> handBack(const std::vector<std::uint64_t>& fans,
                                      std::chrono::milliseconds limit = kLong) const {
    return KVFanLeases::handBack(fans, limit, *platform);
  }

  void leaveBehind(const std::string& machine, const FanWrite& write) const {
    ASSERT_TRUE(KVUtils::groupContainerPath(*platform));
    LeaseRecord record;
    record.program = "Test Host";
    record.processIdentifier = 1'000'000'000;  // no process has it
    record.fan = {0, write};
    record.machine = machine;
    ASSERT_EQ(writeLease(*platform, record), "");
  }
};

TEST_F(KVFanLeasesHandBack, WritesAutomaticModeWithoutALeaseToo) {
  const auto results = handBack({1, 0});
  ASSERT_EQ(results.size(), 2);
  EXPECT_EQ(results[0].fan, 1);
  EXPECT_EQ(results[1].fan, 0);
  for (const KVFanHandBack& result : results) {
    EXPECT_TRUE(result.isWritten);
    EXPECT_EQ(result.fault, "");
  }
  EXPECT_THAT(writes(), UnorderedElementsAre("F0Md 00", "F1Md 00"));
}

TEST_F(KVFanLeasesHandBack, RunsTheToolsOfAllFansAtTheSameTime) {
  hangWrites("F0Md", "00");
  std::thread orders([this] {
    soon([this] { return valueOf("F1Md") == "00"; });
    endOrders();
  });
  const auto results = handBack({0, 1});
  orders.join();
  EXPECT_EQ(results.at(0).fault, "");
  EXPECT_EQ(results.at(1).fault, "");
  EXPECT_THAT(writes(), ElementsAre("F1Md 00", "F0Md 00"));
}

TEST_F(KVFanLeasesHandBack, DoesNotWaitLongerThanTheLimit) {
  hangWrites("F0Md", "00");
  hangWrites("F1Md", "00");
  for (const KVFanHandBack& result : handBack({0, 1}, kNone)) {
    EXPECT_FALSE(result.isWritten);
    EXPECT_EQ(result.fault,
              "F" + std::to_string(result.fan) + "Md: the privileged tool has not ended in time");
  }
  EXPECT_TRUE(soon([this] { return hangs("F0Md", "00") && hangs("F1Md", "00"); }));
  endOrders();
  EXPECT_TRUE(soon([this] { return writes().size() == 2; })) << "late, but they write";
}

TEST_F(KVFanLeasesHandBack, TakesAnyLimit) {
  EXPECT_TRUE(handBack({0}, std::chrono::milliseconds::max()).at(0).isWritten);
  hangWrites("F1Md", "00");
  EXPECT_FALSE(handBack({1}, std::chrono::milliseconds::min()).at(0).isWritten);
  EXPECT_TRUE(handBack({}).empty());
}

TEST_F(KVFanLeasesHandBack, ReportsTheFanWhoseToolFails) {
  failWrites("F0Md", "00");
  const auto results = handBack({0, 1});
  EXPECT_FALSE(results.at(0).isWritten);
  EXPECT_EQ(results.at(0).fault, "F0Md: the privileged tool ended with status 5");
  EXPECT_TRUE(results.at(1).isWritten);
}

TEST_F(KVFanLeasesHandBack, OfAFanThatIsTheSystemsAlreadyHasNoFault) {
  use(recordedMachine(kWithModes));
  failWrites("F0Md", "00");
  const auto results = handBack({0});
  EXPECT_FALSE(results.at(0).isWritten);
  EXPECT_EQ(results.at(0).fault, "");
}

TEST_F(KVFanLeasesHandBack, OfAFanThatNoMachineHasIsAFault) {
  const auto results = handBack({20, 1});
  EXPECT_EQ(results.at(0).fault, "the machine has no such fan");
  EXPECT_FALSE(results.at(0).isWritten);
  EXPECT_TRUE(results.at(1).isWritten);
}

TEST_F(KVFanLeasesHandBack, LeavesTheLeaseToItsHolder) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(handBack({0}).at(0).fault, "");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_TRUE(isOnDisk(0));
  EXPECT_TRUE(lease->take({{0, 2500}}));
  EXPECT_EQ(valueOf("F0Md"), "01");
}

TEST_F(KVFanLeasesHandBack, WithoutModesRestoresTheMinimumOfTheLease) {
  use(kWithMinimum);
  EXPECT_FALSE(handBack({0}).at(0).isWritten) << "nothing is known of it";
  EXPECT_EQ(handBack({0}).at(0).fault, "");
  EXPECT_TRUE(writes().empty());
  leaveBehind(machineOf(*platform), {"F0Mn", "12c1"});
  EXPECT_TRUE(handBack({0}).at(0).isWritten);
  EXPECT_EQ(valueOf("F0Mn"), "12c1");
}

TEST_F(KVFanLeasesHandBack, WithoutModesSaysWhichLeaseCannotBeRead) {
  use(kWithMinimum);
  const std::string lease = *KVUtils::groupContainerPath(*platform) + "/Fan0.plist";
  std::ofstream(lease) << "no lease";
  const auto results = handBack({0});
  EXPECT_FALSE(results.at(0).isWritten);
  EXPECT_EQ(results.at(0).fault,
            "the minimum that it had before is not known: " + lease + ": not a property list");
}

// Its fan of the same number is another fan.
TEST_F(KVFanLeasesHandBack, DoesNotUseTheLeaseOfAnotherMachine) {
  use(kWithMinimum);
  leaveBehind("MacBookPro11,1", {"F0Mn", "12c1"});
  EXPECT_FALSE(handBack({0}).at(0).isWritten);
  EXPECT_EQ(handBack({0}).at(0).fault, "");
  use(kWithModes);
  EXPECT_TRUE(handBack({0}).at(0).isWritten);
  EXPECT_THAT(writes(), ElementsAre("F0Md 00"));
}

TEST_F(KVFanLeasesHandBack, OfALeaseOfAnotherMachineSaysWhetherItsHolderRuns) {
  leaveBehind("MacBookPro11,1", {"F0Mn", "12c1"});
  EXPECT_FALSE(KVFanLeases::leasedFans(*platform).at(0).isHolderRunning);
  EXPECT_FALSE(KVFanLeases::handBackLeftBehind(*platform).at(0).isHolderRunning);
  const KVProcessLock holder("Fan0.holder", *platform);
  EXPECT_TRUE(KVFanLeases::leasedFans(*platform).at(0).isHolderRunning);
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).at(0).isHolderRunning);
  EXPECT_TRUE(isOnDisk(0));
}

// iMac19,1 is of 2019, but its SMC has no modes.
TEST_F(KVFanLeasesHandBack, WritesNothingWhereTheSMCHasNoModeForTheFan) {
  use("iMac19,1");
  const auto results = handBack({0});
  EXPECT_FALSE(results.at(0).isWritten);
  EXPECT_EQ(results.at(0).fault, "");
  EXPECT_TRUE(writes().empty());
}

}  // namespace
}  // namespace kelvora::testing
