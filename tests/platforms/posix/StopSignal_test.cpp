#include "KelvoraCore/StopSignal.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>

#include <gtest/gtest.h>
#include <unistd.h>

#include "KelvoraCore/KVMainQueue.h"

namespace kelvora::platform {
namespace {

class StopSignalTest : public ::testing::Test {
 protected:
  StopSignalTest() { EXPECT_EQ(pipe(ends_.data()), 0); }
  ~StopSignalTest() override {
    close(ends_[0]);
    close(ends_[1]);
  }
  void makeReadable() { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  int descriptor() const { return ends_[0]; }

 private:
  std::array<int, 2> ends_ = {};
};

TEST_F(StopSignalTest, WaitsForTheDescriptorUntilAskedToStop) {
  StopSignal stop;
  makeReadable();
  EXPECT_TRUE(stop.waitUntilReadable(descriptor()));
  EXPECT_TRUE(stop.waitUntilReadable(descriptor()));
}

TEST_F(StopSignalTest, AStopGoesBeforeWhatIsReadableAndStays) {
  std::signal(SIGHUP, SIG_DFL);  // the tests may be started with it ignored
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    StopSignal stop;
    makeReadable();
    raise(signal);
    EXPECT_FALSE(stop.waitUntilReadable(descriptor()));
    EXPECT_FALSE(stop.waitUntilReadable(descriptor()));
    EXPECT_FALSE(stop.waitUntilReadable(-1));
  }
}

TEST_F(StopSignalTest, AClosedTerminalIsNotAStopWhereThatIsIgnored) {
  std::signal(SIGHUP, SIG_IGN);
  StopSignal stop;
  makeReadable();
  raise(SIGHUP);
  EXPECT_TRUE(stop.waitUntilReadable(descriptor()));
}

TEST(StopSignalMainQueue, WorkRunsAsItComesUntilTheDeadline) {
  StopSignal stop;
  int ran = 0;
  KVMainQueue::async([&] { ++ran; });
  EXPECT_TRUE(stop.runUntil(std::chrono::steady_clock::now()));
  EXPECT_EQ(ran, 1);
  bool goesOn = true;
  std::function<void()> again = [&] {
    ++ran;
    if (goesOn) {
      KVMainQueue::async(again);
    }
  };
  again();
  EXPECT_TRUE(stop.runUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(20)));
  EXPECT_GE(ran, 3) << "work that keeps coming does not postpone the deadline";
  goesOn = false;
  KVMainQueue::runPending();
}

TEST(StopSignalMainQueue, AStopEndsTheWaitAndLeavesWorkQueued) {
  StopSignal stop;
  KVMainQueue::async([] { raise(SIGTERM); });
  stop.run();
  KVMainQueue::async([] {});
  EXPECT_FALSE(stop.runUntil(std::chrono::steady_clock::time_point::max()));
  EXPECT_EQ(KVMainQueue::runPending(), 1);
}

TEST_F(StopSignalTest, AnEarlierStopDoesNotReachALaterObject) {
  {
    const StopSignal stop;
    raise(SIGTERM);
  }
  StopSignal later;
  makeReadable();
  EXPECT_TRUE(later.waitUntilReadable(descriptor()));
}

TEST_F(StopSignalTest, NoSignalChangesTheErrorOfTheCallThatItInterrupts) {
  const StopSignal stop;
  errno = 0;
  constexpr int kMoreThanAPipeTakes = 70'000;
  for (int i = 0; i < kMoreThanAPipeTakes; ++i) {
    raise(SIGTERM);
  }
  EXPECT_EQ(errno, 0);
}

TEST_F(StopSignalTest, AfterwardsTheSignalsDoWhatTheyDidBefore) {
  std::signal(SIGINT, SIG_DFL);  // a shell starts programs in the background with it ignored
  { const StopSignal stop; }
  EXPECT_EXIT(raise(SIGTERM), ::testing::KilledBySignal(SIGTERM), "");
  EXPECT_EXIT(raise(SIGINT), ::testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace kelvora::platform
