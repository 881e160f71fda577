// A holder, its guardian and their tool as processes that end at any moment.

#include <csignal>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "tests/fans/KillsFixture.h"
#include "tests/support/ForwardingPorts.h"

namespace kelvora::testing {
namespace {

using std::chrono::milliseconds;

constexpr char kStillRuns[] =
    "its holder, or a privileged tool that sets it, still runs and may set it again";

// The holder's fans are of a platform that it was given. A guardian of the recording would start no
// tool, and would read that the fan is the system's.
TEST_F(FanLeaseKills, AGuardianMindsNoRecordingThatTheEnvironmentNames) {
  const std::string recording = KELVORA_MACHINES "/MacBookPro15,1.json";
  setenv("KELVORA_MACHINE", recording.c_str(), 1);
  ChildWork holder([this] {
    return lease(std::chrono::seconds(30))->take({{0, 3000}}) ? pause() : 2;
  });
  ASSERT_TRUE(soon([this] { return writes().size() == 2; }));
  holder.kill();
  ASSERT_EQ(holder.wait(), 128 + SIGKILL);
  unsetenv("KELVORA_MACHINE");
  EXPECT_TRUE(soon([this] { return guardians().empty(); }));
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

// A lease of minutes: its guardian waits as long for a tool.
TEST_F(FanLeaseKills, AToolThatHangsDelaysTheHandBackOfNoOtherFan) {
  ChildWork holder([this] {
    return lease(std::chrono::minutes(10))->take({{0, 3000}, {1, 3000}}) ? pause() : 2;
  });
  ASSERT_TRUE(soon([this] { return writes().size() == 4; }));
  hangWrites("F0Md", "00");
  holder.kill();
  ASSERT_EQ(holder.wait(), 128 + SIGKILL);
  EXPECT_TRUE(soon([this] { return valueOf("F1Md") == "00"; }));
  EXPECT_EQ(valueOf("F0Md"), "01");
  endOrders();
  EXPECT_TRUE(soon([this] { return guardians().empty(); }));
  EXPECT_EQ(valueOf("F0Md"), "00");
}

// The tool has the holder's end of the channel too, so the hand-back comes after what it writes.
TEST_F(FanLeaseKills, AGuardianWaitsForTheToolThatItsHolderLeaves) {
  hangWrites("F0Md", "01");
  ChildWork holder([this] { return lease(std::chrono::minutes(10))->take({{0, 3000}}) ? 2 : 3; });
  ASSERT_TRUE(soon([this] { return hangs("F0Md", "01"); }));
  holder.kill();
  ASSERT_EQ(holder.wait(), 128 + SIGKILL);
  std::this_thread::sleep_for(milliseconds(300));  // in which it could hand back
  EXPECT_TRUE(writes().empty());
  EXPECT_EQ(guardians().size(), 1U);
  endOrders();
  EXPECT_TRUE(soon([this] { return guardians().empty(); }));
  EXPECT_EQ(writes(), (std::vector<std::string>{"F0Md 01", "F0Md 00"}));
}

// As when the computer is asked for too much, or a debugger stops the program.
TEST_F(FanLeaseKills, AStoppedHolderLosesItsFanAndLearnsOfIt) {
  ChildWork holder([this] {
    const auto held = lease(kShort);
    if (!held->take({{0, 3000}})) {
      return 2;
    }
    raise(SIGSTOP);
    return soon([&] { return held->renew() == KVFanLeaseState::kEnded; }) ? 0 : 3;
  });
  EXPECT_TRUE(soon([this] { return valueOf("F0Md") == "00"; }));
  EXPECT_TRUE(isOnDisk());
  kill(holder.pid(), SIGCONT);
  EXPECT_EQ(holder.wait(), 0);
  EXPECT_TRUE(soonOffTheDisk());
  EXPECT_EQ(writes().back(), "F0Md 00");
}

class FanLeaseBothKilled : public FanLeaseKills {
 protected:
  void SetUp() override {
    ChildWork holder([this] {
      const auto held = lease(std::chrono::seconds(30));
      return held->take({{0, 3000}}) ? raise(SIGSTOP) : 2;
    });
    holderProcess = holder.pid();
    int state = 0;
    ASSERT_EQ(waitpid(holder.pid(), &state, WUNTRACED), holder.pid());
    ASSERT_TRUE(WIFSTOPPED(state));  // its tools have ended
    const auto all = guardians();
    ASSERT_EQ(all.size(), 1U);
    kill(all[0], SIGKILL);
    ASSERT_TRUE(soon([this] { return guardians().empty(); }));
    holder.kill();
    ASSERT_EQ(holder.wait(), 128 + SIGKILL);
    ASSERT_EQ(valueOf("F0Md"), "01");
  }
  pid_t holderProcess = 0;
};

TEST_F(FanLeaseBothKilled, TheNextProgramHandsTheFanBackAndSaysWhoHadIt) {
  const auto seen = KVFanLeases::leasedFans(*platform);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_FALSE(seen[0].isLive);
  EXPECT_EQ(writes().size(), 2U);
  const auto handedBack = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(handedBack.size(), 1U);
  EXPECT_EQ(handedBack[0].fan, 0U);
  EXPECT_EQ(handedBack[0].program, "Test Host");
  EXPECT_EQ(handedBack[0].processIdentifier, holderProcess);
  EXPECT_FALSE(handedBack[0].isLive);
  EXPECT_EQ(handedBack[0].fault, "");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
}

TEST_F(FanLeaseBothKilled, AFanThatCannotBeHandedBackIsTriedAgain) {
  failWrites("F0Md", "00");
  for (int i = 0; i < 2; ++i) {
    const auto left = KVFanLeases::handBackLeftBehind(*platform);
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0].fault, "F0Md: the privileged tool ended with status 5");
    EXPECT_TRUE(isOnDisk());
  }
  endOrders();
  EXPECT_EQ(KVFanLeases::handBackLeftBehind(*platform).at(0).fault, "");
  EXPECT_FALSE(isOnDisk());
}

TEST_F(FanLeaseBothKilled, ANewLeaseHandsTheFanBackFirst) {
  const auto next = lease(std::chrono::seconds(30));
  EXPECT_TRUE(next->take({{0, 2500}})) << next->fault();
  EXPECT_EQ(writes().at(2), "F0Md 00");
  EXPECT_EQ(valueOf("F0Md"), "01");
}

TEST_F(FanLeaseBothKilled, ANewLeaseDoesNotTakeAFanThatIsNotBack) {
  failWrites("F0Md", "00");
  const auto next = lease(std::chrono::seconds(30));
  EXPECT_FALSE(next->take({{0, 2500}}));
  EXPECT_EQ(next->fault(), "fan 0: F0Md: the privileged tool ended with status 5");
  EXPECT_TRUE(isOnDisk());
}

TEST_F(FanLeaseBothKilled, ADamagedLeaseIsHandedBackByTheMode) {
  std::filesystem::resize_file(*KVUtils::groupContainerLocation(*platform) + "/Fan0.plist", 40);
  const auto left = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].program, "");
  EXPECT_EQ(left[0].fault, "");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

TEST_F(FanLeaseBothKilled, WithoutModesADamagedLeaseIsNamedAndKept) {
  use(kWithMinimum);
  const std::string path = *KVUtils::groupContainerLocation(*platform) + "/Fan0.plist";
  std::filesystem::resize_file(path, 40);
  const auto left = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_TRUE(left[0].fault.starts_with(path + ": ")) << left[0].fault;
  EXPECT_TRUE(isOnDisk());
  EXPECT_EQ(writes().size(), 2U);
}

// Anybody may write into the folder of the account: a lease only gives its own fan back.
TEST_F(FanLeaseBothKilled, ALeaseThatWritesAnotherKeyIsIgnored) {
  const std::string lease = "group.com.kelvora/Fan0.plist";
  std::string text = folder.read(lease);
  text.replace(text.find("F0Md"), 4, "F1Tg");
  folder.write(lease, text);
  const auto left = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(valueOf("F1Tg"), "");
  EXPECT_EQ(valueOf("F0Md"), "00");
}

// The guardian is killed, another program hands the fan back: without a guardian no fan is set.
TEST_F(FanLeaseKills, ALeaseThatHasLostItsGuardianChangesNoSpeed) {
  const auto held = lease(std::chrono::seconds(30));
  ASSERT_TRUE(held->take({{0, 3000}})) << held->fault();
  kill(guardians().at(0), SIGKILL);
  ASSERT_TRUE(soon([this] { return guardians().empty(); }));
  ASSERT_EQ(KVFanLeases::handBackLeftBehind(*platform).size(), 1U);
  EXPECT_FALSE(held->take({{0, 3500}}));
  EXPECT_EQ(held->fault(), "the guardian has ended");
  EXPECT_EQ(held->state(), KVFanLeaseState::kEnded);
  EXPECT_EQ(writes().back(), "F0Md 00");
}

// It may be stopped, or about to set the fan, and see later that it has no guardian.
TEST_F(FanLeaseKills, AFanIsNotTakenWhileAHolderWithoutAGuardianStillRuns) {
  const auto lost = lease(std::chrono::seconds(30));
  ASSERT_TRUE(lost->take({{0, 3000}})) << lost->fault();
  kill(guardians().at(0), SIGKILL);
  ASSERT_TRUE(soon([this] { return guardians().empty(); }));
  const auto next = lease(std::chrono::seconds(30));
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(next->take({{0, 4000}}));
    EXPECT_EQ(next->fault(), std::string("fan 0: ") + kStillRuns);
    EXPECT_EQ(valueOf("F0Md"), "00");
    EXPECT_TRUE(isOnDisk());
  }
  EXPECT_EQ(lost->renew(), KVFanLeaseState::kEnded);
  EXPECT_FALSE(isOnDisk());
  EXPECT_TRUE(next->take({{0, 4000}})) << next->fault();
}

// It has heard "ready" and is about to set the fan when its guardian is killed.
TEST_F(FanLeaseKills, ALeaseIsKeptThatTheNextProgramFindsWhileItsHolderStarts) {
  ChildWork holder([this] {
    auto& children = wrapPort<ForwardingChildProcesses>(platform->ports().childProcesses);
    children.onLaunch = [&](const platform::ChildRequest& request) {
      if (request.arguments == std::vector<std::string>{"-k", "F0Md", "-w", "01"}) {
        kill(guardians().at(0), SIGKILL);
        EXPECT_TRUE(soon([this] { return guardians().empty(); }));
        EXPECT_EQ(KVFanLeases::handBackLeftBehind(*platform).at(0).fault, kStillRuns);
      }
      return children.behind->launch(request);
    };
    return lease(std::chrono::seconds(30))->take({{0, 3000}}) && !HasFailure() ? pause() : 2;
  });
  ASSERT_TRUE(soon([this] { return writes().size() == 3; }));
  EXPECT_EQ(writes().at(0), "F0Md 00");
  EXPECT_EQ(valueOf("F0Md"), "01");
  EXPECT_TRUE(isOnDisk());
  holder.kill();
  ASSERT_EQ(holder.wait(), 128 + SIGKILL);
  // The tool may still be about to end.
  ASSERT_TRUE(
      soon([this] { return KVFanLeases::handBackLeftBehind(*platform).at(0).fault.empty(); }));
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

// Holder and guardian are killed while the tool that takes the fan hangs.
TEST_F(FanLeaseKills, TheNextProgramKeepsTheLeaseUntilTheToolHasEnded) {
  hangWrites("F0Md", "01");
  ChildWork holder([this] { return lease(std::chrono::seconds(30))->take({{0, 3000}}) ? 2 : 3; });
  ASSERT_TRUE(soon([this] { return hangs("F0Md", "01"); }));
  kill(holder.pid(), SIGSTOP);
  kill(guardians().at(0), SIGKILL);
  ASSERT_TRUE(soon([this] { return guardians().empty(); }));
  holder.kill();
  ASSERT_EQ(holder.wait(), 128 + SIGKILL);
  for (int i = 0; i < 2; ++i) {
    const auto left = KVFanLeases::handBackLeftBehind(*platform);
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left[0].fault, kStillRuns);
    EXPECT_TRUE(left[0].isHolderRunning);
    EXPECT_EQ(writes().back(), "F0Md 00");
    const auto seen = KVFanLeases::leasedFans(*platform);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_FALSE(seen[0].isLive);
    EXPECT_EQ(seen[0].fault, kStillRuns);
    EXPECT_TRUE(seen[0].isHolderRunning);
  }
  endOrders();
  ASSERT_TRUE(soon([this] { return valueOf("F0Md") == "01"; }));
  ASSERT_TRUE(soon([this] {
    const auto left = KVFanLeases::handBackLeftBehind(*platform);
    EXPECT_EQ(left.at(0).isHolderRunning, !left[0].fault.empty());
    return left[0].fault.empty();
  }));
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

// Its first tool hangs, and could undo what the next holder sets. It is tried again long before the
// time-out of the lease.
TEST_F(FanLeaseKills, AGuardianStaysUntilItsLateToolHasEnded) {
  ChildWork holder([this] {
    return lease(std::chrono::minutes(10))->take({{0, 3000}}) ? pause() : 2;
  });
  ASSERT_TRUE(soon([this] { return writes().size() == 2; }));
  hangOnce("F0Md", "00");
  holder.kill();
  ASSERT_EQ(holder.wait(), 128 + SIGKILL);
  ASSERT_TRUE(soon([this] { return writes().size() >= 4; })) << "it hands back again";
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_TRUE(isOnDisk());
  EXPECT_FALSE(lease(std::chrono::seconds(30))->take({{0, 4000}}));
  endOrders();
  EXPECT_TRUE(soon([this] { return !isOnDisk(); }));
}

TEST_F(FanLeaseKills, ALiveLeaseIsShownAndLeftAlone) {
  const auto held = lease(std::chrono::seconds(30));
  ASSERT_TRUE(held->take({{1, 3000}})) << held->fault();
  const auto seen = KVFanLeases::leasedFans(*platform);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].fan, 1U);
  EXPECT_EQ(seen[0].program, "Test Host");
  EXPECT_EQ(seen[0].processIdentifier, getpid());
  EXPECT_TRUE(seen[0].isLive);
  EXPECT_EQ(seen[0].fault, "");
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
  EXPECT_EQ(writes().size(), 2U);
}

TEST_F(FanLeaseKills, LookingAtNoLeasesCreatesNothing) {
  EXPECT_TRUE(KVFanLeases::leasedFans(*platform).empty());
  EXPECT_TRUE(KVFanLeases::handBackLeftBehind(*platform).empty());
  EXPECT_FALSE(std::filesystem::exists(*KVUtils::groupContainerLocation(*platform)));
}

// A holder's end is no reason to end for whom it guards: Ctrl-C reaches a whole process group.
TEST_F(FanLeaseKills, AGuardianOutlivesPoliteSignals) {
  const auto held = lease(std::chrono::seconds(30));
  ASSERT_TRUE(held->take({{0, 3000}})) << held->fault();
  const auto all = guardians();
  ASSERT_EQ(all.size(), 1U);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP}) {
    kill(all[0], number);
  }
  EXPECT_NE(getsid(all[0]), getsid(0));
  EXPECT_TRUE(soon([&] { return held->renew() == KVFanLeaseState::kHeld; }));
  EXPECT_TRUE(held->release());
}

}  // namespace
}  // namespace kelvora::testing
