#include "platforms/linux/bus/RejoinPause.h"

#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kelvora::platform {
namespace {

using ::testing::ElementsAre;

std::vector<std::int64_t> nextOf(RejoinPause& pause, int count) {
  std::vector<std::int64_t> milliseconds;
  for (int number = 0; number < count; ++number) {
    milliseconds.push_back(pause.next().count());
  }
  return milliseconds;
}

TEST(RejoinPause, DoublesUpToTenSeconds) {
  RejoinPause pause;
  EXPECT_THAT(nextOf(pause, 9), ElementsAre(100, 200, 400, 800, 1600, 3200, 6400, 10'000, 10'000));
}

TEST(RejoinPause, IsShortAgainAfterATryThatSucceeded) {
  RejoinPause pause;
  nextOf(pause, 5);
  pause.reset();
  EXPECT_THAT(nextOf(pause, 2), ElementsAre(100, 200));
}

}  // namespace
}  // namespace kelvora::platform
