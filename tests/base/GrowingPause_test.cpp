#include "base/GrowingPause.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelvora {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

std::vector<std::int64_t> nextOf(GrowingPause& pause, int count, milliseconds longest) {
  std::vector<std::int64_t> pauses;
  for (int number = 0; number < count; ++number) {
    pauses.push_back(pause.next(longest).count());
  }
  return pauses;
}

TEST(GrowingPause, DoublesUpToTheLongest) {
  GrowingPause pause(milliseconds(100));
  EXPECT_THAT(nextOf(pause, 9, milliseconds(10'000)),
              ElementsAre(100, 200, 400, 800, 1600, 3200, 6400, 10'000, 10'000));
}

TEST(GrowingPause, FollowsAnotherLimit) {
  GrowingPause pause(milliseconds(300));
  EXPECT_THAT(nextOf(pause, 3, milliseconds(1000)), ElementsAre(300, 600, 1000));
  EXPECT_THAT(nextOf(pause, 3, milliseconds(5000)), ElementsAre(2000, 4000, 5000));
  EXPECT_THAT(nextOf(pause, 1, milliseconds(1000)), ElementsAre(1000));
}

TEST(GrowingPause, IsShortAgainAfterARestart) {
  GrowingPause pause(milliseconds(100));
  nextOf(pause, 5, milliseconds(10'000));
  pause.restart();
  EXPECT_THAT(nextOf(pause, 2, milliseconds(10'000)), ElementsAre(100, 200));
}

}  // namespace
}  // namespace kelvora
