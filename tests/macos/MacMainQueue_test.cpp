#include "platforms/macos/system/MacMainQueue.h"

#include <array>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>

#include <unistd.h>

#include "tests/macos/frameworks/SystemTest.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacMainQueue;
using Clock = std::chrono::steady_clock;

class MacMainQueueTest : public SystemTest {
 protected:
  // Waits for a descriptor that is never readable.
  void waitInVain(Clock::time_point deadline) {
    std::array<int, 2> ends = {};
    ASSERT_EQ(pipe(ends.data()), 0);
    queue.waitForWork(deadline, ends);
    close(ends[0]);
    close(ends[1]);
  }
  MacMainQueue queue;
};

TEST_F(MacMainQueueTest, WorkRunsInOrderAndNeverAtOnce) {
  std::vector<int> ran;
  for (int i = 0; i < 3; ++i) {
    queue.async([&ran, i] { ran.push_back(i); });
  }
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(queue.descriptor(), -1);
  EXPECT_EQ(queue.runPending(), 3);
  EXPECT_EQ(ran, (std::vector{0, 1, 2}));
  EXPECT_EQ(queue.runPending(), 0);
}

TEST_F(MacMainQueueTest, WorkOfAnotherThreadEndsAWaitAndStaysQueued) {
  bool ran = false;
  std::thread other([&] { queue.async([&] { ran = true; }); });
  queue.waitForWork(Clock::time_point::max(), {});
  EXPECT_FALSE(ran);
  EXPECT_EQ(queue.runPending(), 1);
  other.join();
}

TEST_F(MacMainQueueTest, AWaitWithQueuedWorkRunsTheRunLoopOnce) {
  int arrived = 0;
  queue.async([] {});
  Dispatch::shared().onMainLoop([&] { ++arrived; });
  queue.waitForWork(Clock::time_point::max(), {});
  EXPECT_EQ(arrived, 1);
  EXPECT_EQ(takeCalls(), Calls{"CFRunLoopRunInMode()"});
}

TEST_F(MacMainQueueTest, WhatTheSystemRunsDoesNotEndAWait) {
  int arrived = 0;
  Dispatch::shared().onMainLoop([&] {
    ++arrived;
    Dispatch::shared().onMainLoop([&] {
      ++arrived;
      queue.async([] {});
    });
  });
  queue.waitForWork(Clock::time_point::max(), {});
  EXPECT_EQ(arrived, 2);
  EXPECT_EQ(queue.runPending(), 1);
}

TEST_F(MacMainQueueTest, AWaitEndsWhenADescriptorIsReadable) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe(ends.data()), 0);
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  queue.waitForWork(Clock::time_point::max(), std::array{ends[0]});
  EXPECT_EQ(takeCalls(),
            (Calls{"dispatch_source_create()", "CFRunLoopRunInMode()", "CFRunLoopRunInMode()"}))
      << "the first turn begins to watch";
  close(ends[0]);
  close(ends[1]);
}

// The system begins and ends to watch in turns of the loop: without care each wait would end at
// once, and a program that waits would never rest.
TEST_F(MacMainQueueTest, WaitsForDescriptorsThatAreNotReadableLastUntilTheirDeadlines) {
  constexpr int kWaits = 3;
  for (int i = 0; i < kWaits; ++i) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(10);
    waitInVain(deadline);
    EXPECT_GE(Clock::now(), deadline);
  }
  EXPECT_LE(ledger.callCount("CFRunLoopRunInMode"), 2 * kWaits);
}

TEST_F(MacMainQueueTest, WithoutASourceForTheDescriptorAWaitStillEndsAtItsDeadline) {
  ledger.failCall("dispatch_source_create");
  queue.waitForWork(Clock::now(), std::array{0});
  EXPECT_EQ(takeCalls(), (Calls{"dispatch_source_create()", "CFRunLoopRunInMode()"}));
}

TEST_F(MacMainQueueTest, ALoopThatCannotRunEndsTheWait) {
  ledger.failCall("CFRunLoopRunInMode");
  queue.waitForWork(Clock::time_point::max(), {});
  EXPECT_EQ(takeCalls(), Calls{"CFRunLoopRunInMode()"});
}

TEST_F(MacMainQueueTest, WhatWorkThrowsLeavesTheCallAndTheRestStaysQueuedInOrder) {
  std::vector<int> ran;
  queue.async([] { throw std::runtime_error("work"); });
  queue.async([&] { ran.push_back(1); });
  queue.async([&] { ran.push_back(2); });
  EXPECT_THROW(queue.runPending(), std::runtime_error);
  EXPECT_TRUE(ran.empty());
  queue.async([&] { ran.push_back(3); });
  EXPECT_EQ(queue.runPending(), 3);
  EXPECT_EQ(ran, (std::vector{1, 2, 3}));
}

TEST_F(MacMainQueueTest, WorkMayRunWhatIsPending) {
  int ran = 0;
  queue.async([&] { EXPECT_EQ(queue.runPending(), 1); });
  queue.async([&] { ++ran; });
  EXPECT_EQ(queue.runPending(), 1);
  EXPECT_EQ(ran, 1);
}

TEST_F(MacMainQueueTest, AWaitWithinWorkOfTheHostsLoopHearsOnlyWhatIsQueuedBefore) {
  int ran = 0;
  queue.async([&] {
    queue.waitForWork(Clock::now(), {});
    queue.async([&] { ++ran; });
    queue.waitForWork(Clock::time_point::max(), {});
    EXPECT_EQ(ran, 0);
    EXPECT_EQ(queue.runPending(), 1);
  });
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(ran, 1);
}

TEST_F(MacMainQueueTest, WorkOfAQueueThatHasEndedDoesNotRunAndIsReleased) {
  const auto held = std::make_shared<int>(0);
  {
    MacMainQueue ended;
    ended.async([held] { ++*held; });
  }
  EXPECT_EQ(held.use_count(), 1);
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(*held, 0);
}

TEST_F(MacMainQueueTest, WorkThatEndsItsQueueIsTheLast) {
  int ran = 0;
  auto ended = std::make_unique<MacMainQueue>();
  ended->async([&] { ended.reset(); });
  ended->async([&] { ++ran; });
  EXPECT_EQ(ended->runPending(), 1);
  EXPECT_EQ(ended, nullptr);
  EXPECT_EQ(ran, 0);
}

TEST_F(MacMainQueueTest, TheHostsOwnLoopRunsWork) {
  int ran = 0;
  queue.async([&] { queue.async([&] { ++ran; }); });
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(ran, 1);
}

TEST_F(MacMainQueueTest, TheHostsOwnLoopRunsWhatAWaitLeftQueued) {
  int ran = 0;
  queue.async([&] { ++ran; });
  queue.waitForWork(Clock::time_point::max(), {});
  EXPECT_EQ(ran, 0);
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(ran, 1);
}

TEST_F(MacMainQueueTest, ThePiecesOfWorkThatWaitShareOneCallOfTheSystem) {
  for (int i = 0; i < 100; ++i) {
    queue.async([] {});
  }
  EXPECT_EQ(ledger.callCount("dispatch_async_f"), 1);
}

}  // namespace
}  // namespace kelvora::testing::mac
