// Fans at a fixed speed of which no program has a lease.
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVProcessLock.h"

#include "fans/LeaseRecord.h"
#include "tests/fans/LeaseFixture.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/ScriptedChildProcesses.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class KVFanLeasesWithoutLease : public LeaseFixture {
 protected:
  std::vector<KVFanHandBack> handBack() const {
    return KVFanLeases::handBackWithoutLease(*platform);
  }

  void leaveBehind(std::uint64_t fan, std::int64_t guardian = 0) const {
    ASSERT_TRUE(KVUtils::groupContainerPath(*platform));
    LeaseRecord record;
    record.program = "Test Host";
    record.fan = {fan, {"F" + std::to_string(fan) + "Md", "00"}};
    record.guardian = guardian;
    ASSERT_EQ(writeLease(*platform, record), "");
  }

  // This computer with the model and the fans of the recorded Mac, and with a list of processes;
  // none if it cannot be read.
  void useLive(std::optional<std::string> processes) {
    controller.reset();
    const auto recorded = std::exchange(platform, Platform::live());
    platform->ports().smc = std::move(recorded->ports().smc);
    platform->ports().systemControls = std::move(recorded->ports().systemControls);
    processes_ = std::make_unique<ScriptedChildProcesses>(
        [list = std::move(processes)](const auto&) -> std::optional<ScriptedOutcome> {
          return list ? std::optional(ScriptedOutcome{.output = *list}) : std::nullopt;
        });
    auto& children = wrapPort<ForwardingChildProcesses>(platform->ports().childProcesses);
    children.onLaunch = [this, &children](const platform::ChildRequest& request) {
      return (request.path == "/bin/ps" ? *processes_ : *children.behind).launch(request);
    };
  }

 private:
  std::unique_ptr<ScriptedChildProcesses> processes_;
};

TEST_F(KVFanLeasesWithoutLease, AreHandedBack) {
  const auto results = handBack();
  ASSERT_EQ(results.size(), 2);
  for (const std::uint64_t fan : {0U, 1U}) {
    EXPECT_EQ(results[fan].fan, fan);
    EXPECT_TRUE(results[fan].isWritten);
    EXPECT_EQ(results[fan].fault, "");
  }
  EXPECT_THAT(writes(), UnorderedElementsAre("F0Md 00", "F1Md 00"));
}

TEST_F(KVFanLeasesWithoutLease, ThatAreAutomaticAreLeftAlone) {
  use(recordedMachine(kWithModes));
  EXPECT_THAT(handBack(), IsEmpty());
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(KVFanLeasesWithoutLease, AreLeftAloneWithoutATool) {
  std::filesystem::remove(folder.path("Kelvora/Kelvora SMC"));
  EXPECT_THAT(handBack(), IsEmpty());
}

// A fan of such a Mac is set by its minimum, also where its SMC has a mode.
TEST_F(KVFanLeasesWithoutLease, OfAMacThatIsSetByTheMinimumAreLeftAlone) {
  platform::RecordedMachine machine = recordedMachine(kWithMinimum);
  machine.smcKeys->push_back(smcKey("F0Md", "ui8 ", {1}));
  use(std::move(machine));
  EXPECT_THAT(handBack(), IsEmpty());
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(KVFanLeasesWithoutLease, ThatCannotBeWrittenHaveAFault) {
  failWrites("F0Md", "00");
  const auto results = handBack();
  ASSERT_EQ(results.size(), 2);
  EXPECT_FALSE(results[0].isWritten);
  EXPECT_EQ(results[0].fault, "F0Md: the privileged tool ended with status 5");
  EXPECT_EQ(results[1].fault, "");
}

TEST_F(KVFanLeasesWithoutLease, DoNotIncludeAHeldFan) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(handBack().size(), 1);
  EXPECT_THAT(writes(), ElementsAre("F0Md 01", "F0Tg 00803b45", "F1Md 00"));
}

// Its lease says what is to be written, and whether a program still may.
TEST_F(KVFanLeasesWithoutLease, DoNotIncludeAFanLeftBehindWithOne) {
  leaveBehind(0);
  folder.write("group.com.kelvora/Fan1.plist", "no lease");
  EXPECT_THAT(handBack(), IsEmpty());
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(KVFanLeasesWithoutLease, DoNotIncludeAFanWhoseLockAnotherProgramHas) {
  const KVProcessLock taking("Fan0", *platform);
  EXPECT_EQ(handBack().size(), 1);
  EXPECT_THAT(writes(), ElementsAre("F1Md 00"));
}

// A program has the lock while the modes are read, and a lease when the lock is free.
TEST_F(KVFanLeasesWithoutLease, DoNotIncludeAFanThatIsTakenMeanwhile) {
  auto taking = std::make_unique<KVProcessLock>("Fan0", *platform);
  std::atomic<bool> isRead = false;
  ForwardingSMC::wrap(*platform).setOverride([&isRead](const SMCCallRecord& call, auto) {
    isRead = isRead || call.key == SMCPackedKey("FJMd");
    return std::nullopt;
  });
  std::thread taker([&] {
    ASSERT_TRUE(soon([&] { return isRead.load(); }));
    leaveBehind(0);
    taking.reset();
  });
  EXPECT_EQ(handBack().size(), 1);
  taker.join();
  EXPECT_THAT(writes(), ElementsAre("F1Md 00"));
}

TEST_F(KVFanLeasesWithoutLease, DoNotIncludeAFanThatIsHandedBackMeanwhile) {
  int reads = 0;
  ForwardingSMC::wrap(*platform).setOverride(
      [&reads](const SMCCallRecord& call, auto) -> std::optional<platform::KernelStatus> {
        const bool isValue =
            call.command == SMCCommandReadBytes && call.key == SMCPackedKey("F0Md");
        reads += isValue ? 1 : 0;
        return isValue && reads > 1 ? std::optional(platform::kKernelError) : std::nullopt;
      });
  EXPECT_EQ(handBack().size(), 1);
  EXPECT_EQ(reads, 2);
  EXPECT_THAT(writes(), ElementsAre("F1Md 00"));
}

TEST_F(KVFanLeasesWithoutLease, LeaveNoLockHeld) {
  EXPECT_EQ(handBack().size(), 2);
  const KVProcessLock lock("Fan0", *platform);
  EXPECT_EQ(lock.state(), KVProcessLock::State::kHeld);
}

// --- of another account, whose leases cannot be read

TEST_F(KVFanLeasesWithoutLease, AreHandedBackWhereNoGuardianRuns) {
  useLive("  PID %CPU COMM\n    1  0.0 launchd\n  300  0.0 Kelvora\n  301  0.0 Kelvora SMC\n");
  EXPECT_EQ(handBack().size(), 2);
}

TEST_F(KVFanLeasesWithoutLease, AreLeftAloneWhileAGuardianOfAnotherAccountRuns) {
  leaveBehind(1, 302);
  for (const char* name : {"Kelvora Guardian", "Kelvora Guardia"}) {
    useLive("  PID %CPU COMM\n    1  0.0 launchd\n  300  0.0 " + std::string(name) + "\n");
    EXPECT_THAT(handBack(), IsEmpty()) << name;
    use(kWithModes);
  }
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(KVFanLeasesWithoutLease, AreHandedBackWhileAnOwnGuardianHasAnotherFan) {
  leaveBehind(1, 302);
  useLive("  PID %CPU COMM\n  302  0.0 Kelvora Guardian\n");
  EXPECT_EQ(handBack().size(), 1);
  EXPECT_THAT(writes(), ElementsAre("F0Md 00"));
}

TEST_F(KVFanLeasesWithoutLease, AreLeftAloneWhereTheProcessesAreNotKnown) {
  useLive(std::nullopt);
  EXPECT_THAT(handBack(), IsEmpty());
  EXPECT_THAT(writes(), IsEmpty());
}

}  // namespace
}  // namespace kelvora::testing
