// A lease and the locks of its fans: who has a fan, and when it is free again.
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/KVProcessLock.h"

#include "fans/LeaseMachine.h"
#include "fans/LeaseRecord.h"
#include "tests/fans/LeaseFixture.h"
#include "tests/support/ForwardingPorts.h"

namespace kelvora::testing {
namespace {

class KVFanLeaseLocks : public LeaseFixture {
 protected:
  // As after a power failure.
  void leaveBehind() {
    ASSERT_TRUE(KVUtils::groupContainerPath(*platform));
    LeaseRecord record;
    record.program = "Test Host";
    record.processIdentifier = 1'000'000'000;  // no process has it
    record.fan = {0, {"F0Md", "00"}};
    record.machine = machineOf(*platform);
    ASSERT_EQ(writeLease(*platform, record), "");
  }
};

TEST_F(KVFanLeaseLocks, OfAnotherHolderAreHeldElsewhere) {
  const auto first = newLease();
  ASSERT_TRUE(first->take({{0, 3000}})) << first->fault();
  const auto second = newLease();
  EXPECT_FALSE(second->isHeldElsewhere()) << "before the first take";
  EXPECT_FALSE(second->take({{0, 2500}}));
  EXPECT_TRUE(second->isHeldElsewhere());
  EXPECT_FALSE(second->take({{1, 100}}));
  EXPECT_FALSE(second->isHeldElsewhere()) << "of the last take";
  EXPECT_FALSE(first->isHeldElsewhere());
}

// Its holder has ended and released its own lock.
TEST_F(KVFanLeaseLocks, OfAGuardianThatStillHandsBackAreHeldElsewhere) {
  const KVProcessLock guardian("Fan1", *platform);
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}, {1, 3000}}));
  EXPECT_EQ(lease->fault(), "fan 1: held by another program");
  EXPECT_TRUE(lease->isHeldElsewhere());
  EXPECT_EQ(lease->state(), KVFanLeaseState::kIdle);
  EXPECT_TRUE(writes().empty());
  EXPECT_FALSE(lease->take({{0, 3000}, {0, 3000}}));
  EXPECT_FALSE(lease->isHeldElsewhere());
}

TEST_F(KVFanLeaseLocks, OfATakeThatFailsAreReleased) {
  const KVProcessLock another("Fan1.holder", *platform);
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}, {1, 3000}}));
  EXPECT_EQ(KVProcessLock("Fan0.holder", *platform).state(), KVProcessLock::State::kHeld);
}

// A guardian that takes its time to end.
TEST_F(KVFanLeaseLocks, AreFreeAfterAReleaseBecauseItWaitsForTheGuardian) {
  const std::string guardian =
      folder.write("guardian",
                   "#!/bin/sh\nread request\necho ready >&0\nwhile read line; do :; done\n"
                   "sleep 0.1\n: > \"$0 has ended\"\n");
  chmod(guardian.c_str(), 0755);
  KVFanLease lease(*controller, {std::chrono::seconds(30), "Test Host", guardian});
  ASSERT_TRUE(lease.take({{0, 3000}})) << lease.fault();
  EXPECT_TRUE(lease.release());
  EXPECT_TRUE(std::filesystem::exists(guardian + " has ended"));
}

// Each wait would be one of a fraction of a second for every fan.
TEST_F(KVFanLeaseLocks, OfALeaseWhoseProcessesRunAreNotWaitedFor) {
  auto& files = wrapPort<ForwardingFiles>(platform->ports().files);
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}, {1, 3000}})) << lease->fault();
  int attempts = 0;
  files.onLock = [&](const std::string& path, std::chrono::milliseconds wait,
                     std::error_code& error) {
    ++attempts;
    EXPECT_EQ(wait.count(), 0) << path;
    return files.behind->lock(path, wait, error);
  };
  EXPECT_EQ(KVFanLeases::leasedFans(*platform).size(), 2);
  EXPECT_EQ(attempts, 4) << "guardian and holder of each";
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
  EXPECT_EQ(attempts, 6);
  files.onLock = nullptr;
}

// Another program that looks at the same moment.
TEST_F(KVFanLeaseLocks, OfALeaseWhoseProcessesHaveEndedAreWaitedFor) {
  leaveBehind();
  auto other = std::make_unique<KVProcessLock>("Fan0", *platform);
  std::thread release([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    other.reset();
  });
  EXPECT_EQ(KVFanLeases::handBackLeftBehind(*platform).size(), 1);
  release.join();
  EXPECT_FALSE(isOnDisk(0));
}

TEST_F(KVFanLeaseLocks, AreOfUseThoughTheLeaseCannotBeRemoved) {
  leaveBehind();
  auto& files = wrapPort<ForwardingFiles>(platform->ports().files);
  files.onRemove = [](const std::string&) { return false; };
  const auto left = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(left.size(), 1);
  EXPECT_EQ(left[0].fault,
            *KVUtils::groupContainerLocation(*platform) + "/Fan0.plist: cannot be removed");
  EXPECT_EQ(valueOf("F0Md"), "00") << "it is back all the same";
  files.onRemove = nullptr;
  EXPECT_EQ(KVFanLeases::handBackLeftBehind(*platform).at(0).fault, "");
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
}

// A recorded Mac whose first fan has these limits.
platform::RecordedMachine withLimits(float minimum, float maximum) {
  platform::RecordedMachine machine = recordedMachine("MacBookPro15,1");
  for (platform::RecordedSMCKey& key : *machine.smcKeys) {
    if (key.key == SMCPackedKey("F0Mn")) {
      std::memcpy(key.bytes.data(), &minimum, sizeof minimum);
    } else if (key.key == SMCPackedKey("F0Mx")) {
      std::memcpy(key.bytes.data(), &maximum, sizeof maximum);
    }
  }
  return machine;
}

// Not even a speed of 0.
TEST_F(KVFanLeaseLocks, OfAFanThatCannotTurnAreNotTaken) {
  use(withLimits(0, 0));
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 0}}));
  EXPECT_EQ(lease->fault(), "fan 0: its limits cannot be read");
  EXPECT_TRUE(writes().empty());
}

TEST_F(KVFanLeaseLocks, OfAFanWithMinimumZeroOrOneSpeedAreTaken) {
  for (const float minimum : {0.0F, 1.0F}) {
    use(withLimits(minimum, 1));
    const auto lease = newLease();
    EXPECT_TRUE(lease->take({{0, 1}})) << lease->fault();
    EXPECT_TRUE(lease->release());
  }
}

}  // namespace
}  // namespace kelvora::testing
