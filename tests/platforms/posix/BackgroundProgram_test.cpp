#include "KelvoraCore/BackgroundProgram.h"

#include <csignal>
#include <cstdint>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/ChildProgram.h"
#include "tests/support/ChildWork.h"

namespace kelvora {
namespace {

using ::testing::HasSubstr;

// A program that keeps running is tested with 'kelvora fans set'.
TEST(BackgroundProgram, OneThatEndsAnswersWithItsOutputAndStatus) {
  const auto start = BackgroundProgram::start({"--gtest_filter=None.None"});
  EXPECT_EQ(start.fault, "");
  EXPECT_EQ(start.status, 0);
  EXPECT_THAT(start.output, HasSubstr("Running 0 tests"));
}

TEST(BackgroundProgram, AnotherProcessOfTheProgramIsAskedToEnd) {
  testing::ChildWork other([] {
    pause();
    return 0;
  });
  EXPECT_TRUE(BackgroundProgram::askToEnd(other.pid()));
  EXPECT_EQ(other.wait(), 128 + SIGTERM);
}

TEST(BackgroundProgram, AnotherProgramIsNotAsked) {
  testing::ChildProgram other("/bin/cat", {});
  // Only when it has answered it is that program, and no longer this one.
  while (!std::string(testing::runProgram("/bin/readlink",
                                          {"/proc/" + std::to_string(other.pid()) + "/exe"})
                          .standardOutput)
              .ends_with("cat\n")) {
  }
  EXPECT_FALSE(BackgroundProgram::askToEnd(other.pid()));
  other.endInput();
  EXPECT_EQ(other.wait(), 0);
}

TEST(BackgroundProgram, NoProcessAndNoGroupOfProcessesIsAsked) {
  std::signal(SIGTERM, SIG_IGN);
  for (const std::int64_t process :
       {std::int64_t{0}, std::int64_t{-1}, -std::int64_t{getpid()},
        std::int64_t{getpid()} + (std::int64_t{1} << 32), std::numeric_limits<std::int64_t>::max(),
        std::int64_t{std::numeric_limits<pid_t>::max()}}) {
    EXPECT_FALSE(BackgroundProgram::askToEnd(process)) << process;
  }
}

}  // namespace
}  // namespace kelvora
