#include "KelvoraCore/KVMainQueue.h"

#include <chrono>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "KelvoraCore/Platform.h"

#include "ports/Ports.h"

namespace kelvora::testing {
namespace {

using Clock = std::chrono::steady_clock;

TEST(KVMainQueue, AtAPassedDeadlineWhatIsQueuedRunsAndNothingIsWaitedFor) {
  int ran = 0;
  KVMainQueue::async([&] { ++ran; });
  KVMainQueue::runUntil(Clock::now() - std::chrono::hours(1));
  EXPECT_EQ(ran, 1);
  KVMainQueue::runUntil(Clock::time_point::min());
  EXPECT_EQ(ran, 1);
}

TEST(KVMainQueue, WorkThatKeepsComingDoesNotPostponeTheDeadline) {
  int ran = 0;
  bool goesOn = true;
  std::function<void()> again = [&] {
    ++ran;
    if (goesOn) {
      KVMainQueue::async(again);
    }
  };
  again();
  const auto deadline = Clock::now() + std::chrono::milliseconds(20);
  KVMainQueue::runUntil(deadline);
  EXPECT_GE(ran, 2);
  EXPECT_GE(Clock::now(), deadline) << "and it does not end early either";
  goesOn = false;
  KVMainQueue::runPending();
}

TEST(KVMainQueue, WorkOfAnotherThreadEndsTheWait) {
  Platform& platform = Platform::current();
  std::thread other([] { KVMainQueue::async([] {}); });
  platform.mainQueue().waitForWork(Clock::time_point::max(), {});
  EXPECT_EQ(KVMainQueue::runPending(), 1);
  other.join();
}

TEST(KVMainQueue, OnAnotherThreadNothingRunsAndNothingIsWaitedFor) {
  int ran = 0;
  KVMainQueue::async([&] { ++ran; });
  std::thread([] { KVMainQueue::runUntil(Clock::time_point::max()); }).join();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(KVMainQueue::runPending(), 1);
}

TEST(KVMainQueue, WhatWorkThrowsLeavesTheWaitAndTheRestStaysQueued) {
  int ran = 0;
  KVMainQueue::async([] { throw 1; });
  KVMainQueue::async([&] { ++ran; });
  EXPECT_THROW(KVMainQueue::runUntil(Clock::time_point::max()), int);
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(KVMainQueue::runPending(), 1);
}

}  // namespace
}  // namespace kelvora::testing
