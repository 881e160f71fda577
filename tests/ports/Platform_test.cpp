#include <array>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "ports/Ports.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

TEST(Platform, IsTheLiveOneAndStaysItWhenNoneWasInstalledBeforeTheFirstUse) {
  const Platform& current = Platform::current();
  EXPECT_TRUE(current.isLive());
  EXPECT_THROW(installRecordedPlatform("iMac19,1"), std::logic_error);
  EXPECT_EQ(&Platform::current(), &current);
}

// Whether two threads that start together get the same answer.
bool isOneForTwoThreads() {
  std::array<const Platform*, 2> seen{};
  std::atomic<std::size_t> ready{0};
  const auto ask = [&](const Platform*& answer) {
    ++ready;
    while (ready < seen.size()) {
    }
    answer = &Platform::current();
  };
  std::thread other([&] { ask(seen[0]); });
  ask(seen[1]);
  other.join();
  return seen[0] == seen[1];
}

TEST(Platform, IsOneForThreadsThatAskAtTheSameTime) {
  // Each try takes a process of its own: the first use comes once.
  for (int attempt = 0; attempt < 20; ++attempt) {
    EXPECT_EXIT(std::_Exit(isOneForTwoThreads() ? 0 : 1), ::testing::ExitedWithCode(0), "");
  }
}

}  // namespace
}  // namespace kelvora::testing
