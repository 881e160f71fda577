// Fans that are handed back.
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::StartsWith;

TEST_F(KelvoraFans, HandedBackLeaveTheOthersOfTheirHolderAtTheirSpeeds) {
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "1=2500"}).status, 0);
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.standardError, "");
  EXPECT_THAT(back.standardOutput, StartsWith("0  Fan 1  handed back  now "));
  expectAutomatic(0);
  expectSet(1, 2500);
  EXPECT_EQ(run({"fans", "auto", "all"}).status, 0);
  expectAutomatic(1);
}

TEST_F(KelvoraFans, WithoutALeaseAreHandedBackToo) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  EXPECT_EQ(fan(1).at("mode"), "fixed");
  EXPECT_EQ(run({"fans", "auto", "1", "1"}).standardError, "");
  expectAutomatic(1);
}

TEST_F(KelvoraFans, ThatCannotBeHandedBackAreReported) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  const ProgramResult failed = run({"fans", "auto", "all"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.standardError,
            "kelvora: fan 1: not handed back: the privileged tool could not write it\n");
  fs::remove(home_.path(kTool));
  const ProgramResult missing = run({"fans", "auto", "1"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.standardError,
            "kelvora: fan 1: not handed back: the privileged tool is not installed ('kelvora fans "
            "permit' installs it)\n");
}

}  // namespace
}  // namespace kelvora::testing
