#include "tools/kelvora/FanChangeLock.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVProcessLock.h"
#include "KelvoraCore/Platform.h"

#include "tests/support/HomeFolder.h"
#include "tools/kelvora/Command.h"

namespace kelvora::testing {
namespace {

constexpr char kName[] = "FanChange";

class FanChangeLockTest : public ::testing::Test {
 protected:
  // Why the lock is not there; empty if it is.
  std::string faultOf(std::chrono::milliseconds longestWait) {
    try {
      const tool::FanChangeLock lock(*platform, longestWait);
      EXPECT_EQ(KVProcessLock(kName, *platform).state(), KVProcessLock::State::kHeldElsewhere);
      return "";
    } catch (const tool::CommandError& error) {
      status = error.status;
      return error.what();
    }
  }

  HomeFolder home;
  std::unique_ptr<Platform> platform = Platform::live();
  int status = 0;
};

TEST_F(FanChangeLockTest, IsHeldUntilTheEndOfTheObject) {
  EXPECT_EQ(faultOf(std::chrono::minutes(1)), "");
  EXPECT_EQ(KVProcessLock(kName, *platform).state(), KVProcessLock::State::kHeld);
}

TEST_F(FanChangeLockTest, WaitsForAnotherCommand) {
  auto other = std::make_unique<KVProcessLock>(kName, *platform);
  KVMainQueue::async([&] { other.reset(); });
  EXPECT_EQ(faultOf(std::chrono::minutes(1)), "");
}

TEST_F(FanChangeLockTest, IsRefusedWhenAnotherCommandDoesNotEnd) {
  const KVProcessLock other(kName, *platform);
  for (const int milliseconds : {0, 1}) {
    EXPECT_EQ(faultOf(std::chrono::milliseconds(milliseconds)),
              "another command is changing the fans");
    EXPECT_EQ(status, tool::kExitElsewhere);
  }
}

TEST_F(FanChangeLockTest, IsRefusedWithTheReasonWhereNoCommandCanHaveIt) {
  home.write("data", "a file in place of the folder");
  EXPECT_EQ(faultOf(std::chrono::minutes(1)),
            "the fans cannot be locked: " + KVProcessLock(kName, *platform).fault());
  EXPECT_EQ(status, tool::kExitNothingRead);
}

}  // namespace
}  // namespace kelvora::testing
