#include <gtest/gtest.h>

#include "tests/fans/LeaseWalk.h"

namespace kelvora::testing {
namespace {

constexpr int kFaults = 3;
constexpr int kFaultsOfTwoHolders = 2;  // ten times as many worlds

// --- the design as it is

TEST(FanLeaseWalk, NoOrderOfEventsLeavesAFanBehind) {
  const LeaseWalk walk(LeaseDesign(), kFaults);
  EXPECT_GT(walk.size(), 10'000U);
  const std::vector<World> leftBehind = walk.leftBehind();
  EXPECT_EQ(leftBehind.size(), 0U) << walk.trace(leftBehind.front());
}

TEST(FanLeaseWalk, TheNextProgramIsNeededOnlyWithoutAGuardian) {
  LeaseDesign design;
  design.nextProgramComes = false;
  const std::vector<World> leftBehind = LeaseWalk(design, kFaults).leftBehind();
  EXPECT_GT(leftBehind.size(), 0U);
  for (const World& world : leftBehind) {
    EXPECT_TRUE(world.isOnDisk && !world.guardianRuns &&
                (!world.holderRuns || world.holderIsStopped))
        << world.text();
  }
}

// On a machine without modes what is handed back is the minimum that the holder has read.
TEST(FanLeaseWalk, NoOrderOfTwoHoldersLeavesAFanBehind) {
  LeaseDesign design;
  design.secondHolderComes = true;
  const LeaseWalk walk(design, kFaultsOfTwoHolders);
  EXPECT_TRUE(walk.any([](const World& world) {
    return world.second == Second::kHasEnded && world.holder == HolderState::kEnded;
  }));
  EXPECT_TRUE(walk.any([](const World& world) {
    return world.second == Second::kHasFan && !world.holderRuns && !world.guardianRuns;
  }));
  const std::vector<World> leftBehind = walk.leftBehind();
  EXPECT_EQ(leftBehind.size(), 0U) << walk.trace(leftBehind.front());
}

TEST(FanLeaseWalk, EveryStateIsReached) {
  const LeaseWalk walk(LeaseDesign(), kFaults);
  for (int state = 0; state <= static_cast<int>(HolderState::kEnded); ++state) {
    EXPECT_TRUE(walk.any([&](const World& world) {
      return world.holder == static_cast<HolderState>(state);
    })) << nameOf(static_cast<HolderState>(state));
  }
  for (int state = 0; state <= static_cast<int>(GuardianState::kGone); ++state) {
    EXPECT_TRUE(walk.any([&](const World& world) {
      return world.guardian == static_cast<GuardianState>(state);
    })) << nameOf(static_cast<GuardianState>(state));
  }
}

// --- each rule taken out

void expectLeftBehind(const LeaseDesign& design) {
  const int faults = design.secondHolderComes ? kFaultsOfTwoHolders : kFaults;
  EXPECT_GT(LeaseWalk(design, faults).leftBehind().size(), 0U);
}

TEST(FanLeaseWalk, WithoutWaitingForTheGuardian) {
  expectLeftBehind(LeaseDesign()
                       .with(HolderRow{HolderState::kIdle, HolderEvent::kTakeAsked,
                                       HolderState::kTaking, HolderAction::kTake})
                       .with(HolderRow{HolderState::kTaking, HolderEvent::kTaken,
                                       HolderState::kStarting, HolderAction::kStartGuardian})
                       .with(HolderRow{HolderState::kStarting, HolderEvent::kReady,
                                       HolderState::kHeld, HolderAction::kNothing}));
}

TEST(FanLeaseWalk, WithAGuardianThatWaitsUntilTheFanIsTaken) {
  constexpr auto kUnarmed = static_cast<GuardianState>(100);
  expectLeftBehind(LeaseDesign()
                       .with(GuardianRow{GuardianState::kPreparing, GuardianEvent::kPrepared,
                                         kUnarmed, GuardianAction::kSayReady})
                       .with(GuardianRow{kUnarmed, GuardianEvent::kRenewed,
                                         GuardianState::kWatching, GuardianAction::kSayAlive})
                       .with(GuardianRow{kUnarmed, GuardianEvent::kChannelEnded,
                                         GuardianState::kGone, GuardianAction::kLeave}));
}

TEST(FanLeaseWalk, WithToolsThatDoNotKeepTheChannelOpen) {
  LeaseDesign design;
  design.toolsKeepTheChannelOpen = false;
  expectLeftBehind(design);
}

TEST(FanLeaseWalk, WithAGuardianThatLeavesAfterATimeOut) {
  expectLeftBehind(
      LeaseDesign().with(GuardianRow{GuardianState::kExpired, GuardianEvent::kHandedBack,
                                     GuardianState::kGone, GuardianAction::kLeave}));
}

TEST(FanLeaseWalk, WithAGuardianThatDoesNotRepeatItsHandBack) {
  expectLeftBehind(
      LeaseDesign().with(GuardianRow{GuardianState::kExpired, GuardianEvent::kTimeIsOver,
                                     GuardianState::kExpired, GuardianAction::kNothing}));
}

TEST(FanLeaseWalk, WithAGuardianThatDoesNotHandBackAgainAtTheEnd) {
  expectLeftBehind(
      LeaseDesign().with(GuardianRow{GuardianState::kExpired, GuardianEvent::kChannelEnded,
                                     GuardianState::kGone, GuardianAction::kLeave}));
}

TEST(FanLeaseWalk, WithAGuardianThatGivesUpAfterAFailedHandBack) {
  expectLeftBehind(
      LeaseDesign().with(GuardianRow{GuardianState::kEnding, GuardianEvent::kHandBackFailed,
                                     GuardianState::kGone, GuardianAction::kLeave}));
}

TEST(FanLeaseWalk, WithAHolderThatDoesNotMissItsGuardian) {
  expectLeftBehind(LeaseDesign().with(HolderRow{HolderState::kHeld, HolderEvent::kGuardianGone,
                                                HolderState::kHeld, HolderAction::kNothing}));
}

TEST(FanLeaseWalk, WithAReleaseThatOnlyCloses) {
  expectLeftBehind(LeaseDesign().with(HolderRow{HolderState::kHeld, HolderEvent::kReleaseAsked,
                                                HolderState::kEnding, HolderAction::kClose}));
}

TEST(FanLeaseWalk, WithACloseAfterAFailedHandBack) {
  expectLeftBehind(
      LeaseDesign().with(HolderRow{HolderState::kHandingBack, HolderEvent::kHandBackFailed,
                                   HolderState::kEnding, HolderAction::kClose}));
}

TEST(FanLeaseWalk, WithAFailedTakeThatIsNotHandedBack) {
  expectLeftBehind(LeaseDesign().with(HolderRow{HolderState::kTaking, HolderEvent::kTakeFailed,
                                                HolderState::kEnding, HolderAction::kClose}));
}

// The guardian is killed, and a take that hung sets the fan after the holder's hand-back.
TEST(FanLeaseWalk, WithAHolderThatForgetsAToolThatHangs) {
  LeaseDesign design;
  design.holderWaitsForLateTools = false;
  expectLeftBehind(design);
}

// Holder and guardian are killed; the next program hands back, and then the take that hung sets the
// fan.
TEST(FanLeaseWalk, WithANextProgramThatForgetsATool) {
  LeaseDesign design;
  design.leaseIsKept = Keep::kForNobody;
  expectLeftBehind(design);
}

// The guardian is killed, the next program hands back, and then a holder that was stopped, or has
// only heard "ready", sets the fan and is killed.
TEST(FanLeaseWalk, WithANextProgramThatForgetsTheHolder) {
  LeaseDesign design;
  design.leaseIsKept = Keep::kForTools;
  expectLeftBehind(design);
}

// It read the minimum that the first holder had raised.
TEST(FanLeaseWalk, WithASecondHolderThatReadsOnlyBeforeItHasTheLock) {
  LeaseDesign design;
  design.secondHolderComes = true;
  design.secondReadsAgain = ReadAgain::kNever;
  expectLeftBehind(design);
}

// The guardian of the first holder has not restored the minimum yet.
TEST(FanLeaseWalk, WithASecondHolderThatReadsBesideTheGuardianOfTheFirst) {
  LeaseDesign design;
  design.secondHolderComes = true;
  design.secondReadsAgain = ReadAgain::kWithTheLock;
  expectLeftBehind(design);
}

// First holder and guardian were killed, and the minimum that they had raised is not restored yet.
TEST(FanLeaseWalk, WithASecondHolderThatTakesAFanThatWasLeftBehind) {
  LeaseDesign design;
  design.secondHolderComes = true;
  design.secondMindsALease = false;
  expectLeftBehind(design);
}

TEST(FanLeaseWalk, WithAHandBackThatHidesAFailedModeWrite) {
  LeaseDesign design;
  design.handBackReportsItsModeWrite = false;
  expectLeftBehind(design);
}

}  // namespace
}  // namespace kelvora::testing
