// What serial queues of every system do alike.
#include "KelvoraCore/KVSerialQueue.h"

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace kelvora::testing {
namespace {

TEST(KVSerialQueue, RunsWorkInOrderOnOneThreadOfItsOwn) {
  KVSerialQueue queue("Request Privilege");
  EXPECT_EQ(queue.label(), "Request Privilege");
  std::vector<int> ran;
  std::thread::id thread;
  for (int i = 0; i < 100; ++i) {
    queue.async([&ran, i] { ran.push_back(i); });
  }
  queue.sync([&] { thread = std::this_thread::get_id(); });
  EXPECT_NE(thread, std::this_thread::get_id());
  ASSERT_EQ(ran.size(), 100U);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(ran[static_cast<std::size_t>(i)], i);
  }
}

TEST(KVSerialQueue, DestructionWaitsForWhatIsQueued) {
  std::atomic<int> ran = 0;
  {
    KVSerialQueue queue("last");
    for (int i = 0; i < 50; ++i) {
      queue.async([&] { ++ran; });
    }
  }
  EXPECT_EQ(ran, 50);
}

TEST(KVSerialQueue, WorkMayQueueMoreWork) {
  std::atomic<int> ran = 0;
  {
    KVSerialQueue queue("more");
    queue.async([&] { queue.async([&] { ++ran; }); });
  }
  EXPECT_EQ(ran, 1);
}

TEST(KVSerialQueue, SynchronousWorkHandsItsExceptionBack) {
  KVSerialQueue queue("throwing");
  EXPECT_THROW(queue.sync([] { throw std::runtime_error("work"); }), std::runtime_error);
  bool ran = false;
  queue.sync([&] { ran = true; });
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace kelvora::testing
