// A lease and the locks of its fans: who has a fan, and when it is free again.
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/KVProcessLock.h"

#include "tests/fans/LeaseFixture.h"

namespace kelvora::testing {
namespace {

class KVFanLeaseLocks : public LeaseFixture {};

TEST_F(KVFanLeaseLocks, OfAnotherHolderAreHeldElsewhere) {
  const auto first = newLease();
  ASSERT_TRUE(first->take({{0, 3000}})) << first->fault();
  const auto second = newLease();
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
