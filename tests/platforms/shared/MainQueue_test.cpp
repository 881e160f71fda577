#include "ports/MainQueue.h"

#include <thread>
#include <vector>

#include "tests/platforms/shared/PortsTest.h"

namespace kelvora::testing {
namespace {

class MainQueuePort : public PortsTest {
 protected:
  platform::MainQueue& queue() { return *ports.mainQueue; }
};

TEST_F(MainQueuePort, RunsWorkInOrderAndNeverAtOnce) {
  std::vector<int> ran;
  for (int i = 0; i < 3; ++i) {
    queue().async([&ran, i] { ran.push_back(i); });
  }
  EXPECT_TRUE(ran.empty());
  EXPECT_EQ(queue().runPending(), 3);
  EXPECT_EQ(ran, (std::vector{0, 1, 2}));
  EXPECT_EQ(queue().runPending(), 0);
}

TEST_F(MainQueuePort, WorkThatIsQueuedByWorkWaitsForTheNextRun) {
  int ran = 0;
  queue().async([&] { queue().async([&] { ++ran; }); });
  EXPECT_EQ(queue().runPending(), 1);
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(queue().runPending(), 1);
  EXPECT_EQ(ran, 1);
}

TEST_F(MainQueuePort, OnlyTheMainThreadRunsWork) {
  queue().async([] {});
  EXPECT_TRUE(queue().isMainThread());
  std::thread([&] {
    EXPECT_FALSE(queue().isMainThread());
    EXPECT_EQ(queue().runPending(), 0);
    queue().async([] {});
  }).join();
  EXPECT_EQ(queue().runPending(), 2);
}

}  // namespace
}  // namespace kelvora::testing
