#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>

#include "KelvoraCore/KVSerialQueue.h"

#include "platforms/linux/system/LinuxMainQueue.h"

namespace kelvora::testing {
namespace {

using platform::LinuxMainQueue;

bool isReadable(const LinuxMainQueue& queue) {
  pollfd descriptor{queue.descriptor(), POLLIN, 0};
  return poll(&descriptor, 1, 0) == 1;
}

TEST(LinuxMainQueue, ItsDescriptorIsReadableExactlyWhileWorkIsQueued) {
  LinuxMainQueue queue;
  EXPECT_FALSE(isReadable(queue));
  queue.async([] {});
  queue.async([&] { queue.async([] {}); });
  EXPECT_TRUE(isReadable(queue));
  queue.runPending();
  EXPECT_TRUE(isReadable(queue));
  queue.runPending();
  EXPECT_FALSE(isReadable(queue));
}

// A host drains the queue of the current machine, and may have others.
TEST(LinuxMainQueue, OneQueueRunsTheWorkOfAllInOrder) {
  LinuxMainQueue queue;
  LinuxMainQueue other;
  std::vector<int> ran;
  other.async([&] { ran.push_back(1); });
  queue.async([&] { ran.push_back(2); });
  other.async([&] { ran.push_back(3); });
  EXPECT_TRUE(isReadable(queue));
  EXPECT_EQ(queue.runPending(), 3);
  EXPECT_EQ(ran, (std::vector{1, 2, 3}));
}

TEST(LinuxMainQueue, WhatWaitsWhenItsQueueEndsDoesNotRun) {
  LinuxMainQueue queue;
  std::vector<int> ran;
  {
    LinuxMainQueue other;
    other.async([&] { ran.push_back(1); });
    queue.async([&] { ran.push_back(2); });
    other.async([&] { ran.push_back(3); });
  }
  EXPECT_EQ(queue.runPending(), 1);
  EXPECT_EQ(ran, (std::vector{2}));
  EXPECT_FALSE(isReadable(queue));
}

TEST(LinuxMainQueue, WorkMayDrainTheQueueItself) {
  LinuxMainQueue queue;
  int ran = 0;
  queue.async([&] { EXPECT_EQ(queue.runPending(), 1); });
  queue.async([&] { ++ran; });
  EXPECT_EQ(queue.runPending(), 1);
  EXPECT_EQ(ran, 1);
}

TEST(LinuxMainQueue, WorkThatThrowsLeavesTheRestQueued) {
  LinuxMainQueue queue;
  queue.async([] { throw std::runtime_error("work"); });
  queue.async([] {});
  EXPECT_THROW(queue.runPending(), std::runtime_error);
  EXPECT_TRUE(isReadable(queue));
  EXPECT_EQ(queue.runPending(), 1);
}

TEST(KVSerialQueue, StartsItsThreadWithTheFirstWork) {
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const auto before = threads();
  KVSerialQueue queue("lazy");
  EXPECT_EQ(threads(), before);
  queue.sync([] {});
  const auto working = threads();
  EXPECT_GT(working, before);
  queue.sync([] {});
  EXPECT_EQ(threads(), working);
}

}  // namespace
}  // namespace kelvora::testing
