// A holder takes two fans, changes one and releases both; at each moment of that a process is
// killed or stopped, and at each write the tool fails, hangs or comes late.
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/fans/ChildMoments.h"
#include "tests/fans/KillsFixture.h"

namespace kelvora::testing {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kNeverOver = std::chrono::seconds(30);
constexpr milliseconds kSoonOver{300};
constexpr int kReached = 64;
constexpr int kMostMoments = 200;

int holdOnce(KVFanLease& lease) {
  if (!lease.take({{0, 3000}, {1, 3000}}) || lease.renew() != KVFanLeaseState::kHeld ||
      !lease.take({{1, 2500}})) {
    return 2;
  }
  return lease.release() ? 0 : 3;
}

class FanLeaseMoments : public FanLeaseKills {
 protected:
  using Action = std::function<void()>;

  /// The holder, a process of its own, calls `action` at a moment. Returns whether there is such a
  /// moment, or the process was killed.
  bool holdOnceWith(const Action& action, int moment, milliseconds timeout,
                    const std::function<void(pid_t)>& whileItRuns) {
    std::filesystem::remove(folder.path("Kelvora/log"));
    ChildWork holder([&] {
      auto children = std::make_unique<ChildMoments>(std::move(platform->ports().childProcesses),
                                                     moment, action);
      const ChildMoments& moments = *children;
      platform->ports().childProcesses = std::move(children);
      const int status = holdOnce(*lease(timeout));
      return status + (moments.isReached() ? kReached : 0);
    });
    whileItRuns(holder.pid());
    const int status = holder.wait();
    EXPECT_TRUE(status == 0 || status >= kReached) << status << " at moment " << moment;
    return status != 0;
  }

  void atEachMoment(
      const Action& action, milliseconds timeout, const std::function<void()>& afterwards,
      const std::function<void(pid_t)>& whileItRuns = [](pid_t) {}) {
    int moment = 0;
    while (holdOnceWith(action, moment, timeout, whileItRuns)) {
      afterwards();
      expectNothingLeftBehind("moment " + std::to_string(moment));
      ASSERT_LT(++moment, kMostMoments);
    }
    EXPECT_GT(moment, 20);
  }

  bool areBack() const {
    return std::ranges::all_of(std::array{"F0Md", "F1Md"}, [this](const char* key) {
      const std::string mode = valueOf(key);
      return mode.empty() || mode == "00";
    });
  }

  void expectNothingLeftBehind(const std::string& when) const {
    EXPECT_TRUE(soon([this] { return guardians().empty(); })) << when;
    EXPECT_TRUE(areBack()) << when;
    EXPECT_FALSE(isOnDisk(0) || isOnDisk(1)) << when;
  }

  static auto orders() {
    return std::array{&FanLeaseMoments::failWrites, &FanLeaseMoments::failAfterWrites,
                      &FanLeaseMoments::hangWrites};
  }

  void toGuardians(int signal) const {
    for (const pid_t process : guardians()) {
      kill(process, signal);
    }
  }
  void killGuardians() const {
    toGuardians(SIGKILL);
    EXPECT_TRUE(soon([this] { return guardians().empty(); }));
  }
};

void doNothing() {}

TEST_F(FanLeaseMoments, AKilledHolderLeavesNoFanBehind) {
  atEachMoment([] { kill(getpid(), SIGKILL); }, kNeverOver, doNothing);
}

TEST_F(FanLeaseMoments, AKilledGuardianLeavesNoFanBehind) {
  atEachMoment([this] { killGuardians(); }, kNeverOver, doNothing);
}

TEST_F(FanLeaseMoments, OfBothKilledTheNextProgramHandsBack) {
  const Action killBoth = [this] {
    killGuardians();
    kill(getpid(), SIGKILL);
  };
  atEachMoment(killBoth, kNeverOver, [this] {
    EXPECT_TRUE(soon([this] {  // a tool may still run
      return std::ranges::all_of(KVFanLeases::handBackLeftBehind(*platform),
                                 [](const KVLeasedFan& fan) { return fan.fault.empty(); });
    }));
  });
}

TEST_F(FanLeaseMoments, AStoppedGuardianLeavesNoFanBehindOnceItRunsAgain) {
  atEachMoment([this] { toGuardians(SIGSTOP); }, kSoonOver, [this] { toGuardians(SIGCONT); });
}

TEST_F(FanLeaseMoments, OfAStoppedHolderTheFansAreBackInTime) {
  atEachMoment(
      [] { raise(SIGSTOP); }, kSoonOver, doNothing,
      [this](pid_t holder) {
        siginfo_t change = {};
        ASSERT_EQ(waitid(P_PID, static_cast<id_t>(holder), &change, WSTOPPED | WEXITED | WNOWAIT),
                  0);
        if (change.si_code == CLD_STOPPED) {
          std::this_thread::sleep_for(2 * kSoonOver);
          EXPECT_TRUE(soon([this] { return areBack(); }));
          kill(holder, SIGCONT);
        }
      });
}

TEST_F(FanLeaseMoments, AToolThatFailsHangsOrComesLateLeavesNoFanBehind) {
  ASSERT_EQ(holdOnce(*lease(kNeverOver)), 0);
  const auto all = writes();
  const std::set<std::string> calls(all.begin(), all.end());
  EXPECT_EQ(calls.size(), 7U);
  for (const auto order : orders()) {
    for (const std::string& call : calls) {
      std::filesystem::remove(folder.path("Kelvora/log"));
      (this->*order)(call.substr(0, 4), call.substr(5));
      const auto held = lease(kSoonOver);
      holdOnce(*held);
      endOrders();
      EXPECT_TRUE(soon([&] { return held->renew() == KVFanLeaseState::kEnded; })) << call;
      expectNothingLeftBehind(call);
    }
  }
}

}  // namespace
}  // namespace kelvora::testing
