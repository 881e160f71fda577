#include "platforms/macos/system/MacMainQueue.h"

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
  void runOnce() { queue.waitForWork(Clock::now(), {}); }
  MacMainQueue queue;
};

TEST_F(MacMainQueueTest, WorkRunsInOrderAndNeverAtOnceWhileTheRunLoopRuns) {
  std::vector<int> ran;
  for (int i = 0; i < 3; ++i) {
    queue.async([&ran, i] { ran.push_back(i); });
  }
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(queue.runPending(), 0);
  EXPECT_TRUE(ran.empty()) << "only the system's loop drains its queue";
  EXPECT_EQ(queue.descriptor(), -1);
  runOnce();
  EXPECT_EQ(ran, (std::vector{0, 1, 2}));
}

TEST_F(MacMainQueueTest, WorkThatIsQueuedByWorkWaitsForTheNextRun) {
  int ran = 0;
  queue.async([&] { queue.async([&] { ++ran; }); });
  runOnce();
  EXPECT_EQ(ran, 0);
  runOnce();
  EXPECT_EQ(ran, 1);
}

TEST_F(MacMainQueueTest, AWaitEndsWithWorkOfAnotherThread) {
  bool ran = false;
  std::thread other([&] {
    EXPECT_FALSE(queue.isMainThread());
    queue.async([&] { ran = true; });
  });
  while (!ran) {
    queue.waitForWork(Clock::time_point::max(), {});
  }
  other.join();
  EXPECT_TRUE(queue.isMainThread());
}

TEST_F(MacMainQueueTest, AWaitEndsWhenADescriptorIsReadable) {
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe(ends.data()), 0);
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  queue.waitForWork(Clock::time_point::max(), std::array{ends[0]});
  EXPECT_EQ(takeCalls(), (Calls{"dispatch_source_create()", "CFRunLoopRunInMode()"}));
  close(ends[0]);
  close(ends[1]);
}

TEST_F(MacMainQueueTest, WithoutASourceForTheDescriptorAWaitStillEndsAtItsDeadline) {
  ledger.failCall("dispatch_source_create");
  queue.waitForWork(Clock::now(), std::array{0});
  EXPECT_EQ(takeCalls(), (Calls{"dispatch_source_create()", "CFRunLoopRunInMode()"}));
}

TEST_F(MacMainQueueTest, WhatWorkThrowsLeavesTheWaitAndTheRestStaysQueuedInOrder) {
  std::vector<int> ran;
  queue.async([] { throw std::runtime_error("work"); });
  queue.async([&] { ran.push_back(1); });
  queue.async([&] { ran.push_back(2); });
  EXPECT_THROW(runOnce(), std::runtime_error);
  EXPECT_TRUE(ran.empty());
  queue.async([&] { ran.push_back(3); });
  runOnce();
  EXPECT_EQ(ran, (std::vector{1, 2, 3}));
}

TEST_F(MacMainQueueTest, WorkMayRunTheLoopItself) {
  int ran = 0;
  queue.async([&] {
    queue.async([&] { ++ran; });
    runOnce();
    EXPECT_EQ(ran, 1);
  });
  runOnce();
  EXPECT_EQ(ran, 1);
}

TEST_F(MacMainQueueTest, WorkOfAQueueThatHasEndedDoesNotRunAndIsReleased) {
  const auto held = std::make_shared<int>(0);
  {
    MacMainQueue ended;
    ended.async([held] { ++*held; });
  }
  EXPECT_EQ(held.use_count(), 2);
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(*held, 0);
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(MacMainQueueTest, TheHostsOwnLoopRunsWork) {
  int ran = 0;
  queue.async([&] { queue.async([&] { ++ran; }); });
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(ran, 1);
}

}  // namespace
}  // namespace kelvora::testing::mac
