// Fans that are handed back.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
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

TEST_F(KelvoraFans, AreHandedBackAlsoWhereTheHolderOfTheOthersIsKilled) {
  choose(home_.write("mac.json", kThreeFans).c_str());
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "1=2500"}).status, 0);
  fs::rename(home_.path(kTool), home_.path("tool"));
  home_.write(kTool, "#!/bin/sh\ncase $2$4 in F1Md01) kill -9 $PPID;; esac\nexec " +
                         home_.path("tool") + " \"$@\"\n");
  fs::permissions(home_.path(kTool), fs::perms(0755));
  const ProgramResult back = run({"fans", "auto", "0", "2"});
  EXPECT_EQ(back.status, 1);
  EXPECT_EQ(back.standardError,
            "kelvora: the holder has been ended by signal 9\n"
            "kelvora: fan 1: handed back, as its holder has ended\n");
  EXPECT_THAT(back.standardOutput, HasSubstr("0  Fan 1  handed back  now "));
  EXPECT_THAT(back.standardOutput, HasSubstr("2  Fan 3  handed back  now "));
  EXPECT_TRUE(soon([this] { return processes().empty(); }));
  for (const std::size_t index : {0U, 1U, 2U}) {
    expectAutomatic(index);
  }
}

TEST_F(KelvoraFans, WithoutALeaseAreHandedBackToo) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  const ProgramResult back = run({"fans", "auto", "1", "1"});
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.standardError, "kelvora: fan 1: at a fixed speed without a lease, handed back\n");
  expectAutomatic(1);
}

TEST_F(KelvoraFans, ThatCannotBeHandedBackAreReported) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  const ProgramResult failed = run({"fans", "auto", "all"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.standardError,
            "kelvora: fan 1: at a fixed speed without a lease, not handed back: F1Md: the "
            "privileged tool ended with status 1\n"
            "kelvora: fan 1: not handed back: F1Md: the privileged tool ended with status 1\n");
  fs::remove(home_.path(kTool));
  const ProgramResult missing = run({"fans", "auto", "1"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.standardError,
            "kelvora: fan 1: not handed back: the privileged tool is not installed ('kelvora fans "
            "permit' installs it)\n");
}

TEST_F(KelvoraFans, AreNotSaidToBeWrittenWhenTheToolRefuses) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  const ProgramResult failed = run({"fans", "auto", "all"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(failed.standardOutput, HasSubstr("0  Fan 1  nothing written  now "));
  EXPECT_THAT(failed.standardOutput, HasSubstr("1  Fan 2  nothing written  now "));
  EXPECT_THAT(failed.standardOutput, Not(HasSubstr("handed back")));
}

// The last fan's tool is not waited for any longer than the first's.
TEST_F(KelvoraFans, AreHandedBackThoughTheToolOfOneHangs) {
  choose(home_.write("mac.json", kThreeFans).c_str());
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  fs::rename(home_.path(kTool), home_.path("tool"));
  home_.write(kTool, "#!/bin/sh\nif test $2 = F1Md; then\n  while test -e '" +
                         home_.write("hang", "") + "'; do sleep 0.01; done\nfi\nexec " +
                         home_.path("tool") + " \"$@\"\n");
  fs::permissions(home_.path(kTool), fs::perms(0755));
  const ProgramResult back = run({"fans", "auto", "all"});
  fs::remove(home_.path("hang"));
  EXPECT_EQ(back.status, 1);
  EXPECT_EQ(back.standardError,
            "kelvora: fan 1: at a fixed speed without a lease, not handed back: F1Md: the "
            "privileged tool has not ended in time\n"
            "kelvora: fan 2: at a fixed speed without a lease, handed back\n"
            "kelvora: fan 1: not handed back: F1Md: the privileged tool has not ended in time\n");
  EXPECT_THAT(back.standardOutput, HasSubstr("1  Fan 2  nothing written  now "));
  expectAutomatic(2);
  EXPECT_TRUE(soon([] { return fan(1).at("mode") == "automatic"; })) << "the late tool writes it";
}

TEST_F(KelvoraFans, ThatAreSetAgainAtOnceAreNotSaidToBeHandedBack) {
  fs::rename(home_.path(kTool), home_.path("tool"));
  home_.write(kTool, "#!/bin/sh\n" + home_.path("tool") + " -k F1Md -w 01\nexit 0\n");
  fs::permissions(home_.path(kTool), fs::perms(0755));
  const ProgramResult back = run({"fans", "auto", "1"});
  EXPECT_EQ(back.status, 1);
  EXPECT_EQ(back.standardError, "kelvora: fan 1: not handed back: it has been set again\n");
  EXPECT_THAT(back.standardOutput, StartsWith("1  Fan 2  nothing written  now "));
  fs::rename(home_.path("tool"), home_.path(kTool));
}

// Their number is a key like the others.
TEST_F(KelvoraFans, WhoseNumberCannotBeReadAreHandedBackToo) {
  std::string mac = kThreeFans;
  mac.replace(mac.find("FNum"), 4, "XNum");
  choose(home_.write("mac.json", mac).c_str());
  ASSERT_EQ(jsonOf({"fans"}).at("fans").size(), 3U);
  EXPECT_EQ(run({"fans", "auto", "all"}).status, 0);
  expectAutomatic(2);
}

// They have no mode although the Mac is of 2019, so no program can have taken them.
TEST_F(KelvoraFans, OfAMacThatLacksTheirKeysHaveNothingToHandBack) {
  choose("iMac19,1");
  const ProgramResult back = run({"fans", "auto", "all"});
  EXPECT_EQ(back.status, 0);
  EXPECT_THAT(back.standardOutput, HasSubstr("nothing written"));
  EXPECT_EQ(back.standardError,
            "kelvora: fan 0: nothing to hand back, the SMC has no mode for it\n");
  EXPECT_EQ(jsonOf({"fans", "auto", "0"}).at("fans").at(0).at("written"),
            (json{{"mode", nullptr}, {"target", nullptr}, {"minimum", nullptr}}));
}

// Their minimum may be raised, and its original value is lost.
TEST_F(KelvoraFans, WithoutModesOfALeaseThatCannotBeReadAreNotSaidToBeBack) {
  choose(kWithMinimum);
  const std::string lease = home_.write("data/group.com.kelvora/Fan0.plist", "no lease");
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F0Mn", "-w", "2ee0"}).status, 0);
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 1);
  EXPECT_THAT(back.standardOutput, HasSubstr("nothing written"));
  EXPECT_THAT(back.standardError,
              EndsWith("kelvora: fan 0: not handed back: the minimum that it had before is not "
                       "known: " +
                       lease +
                       ": not a property list; remove that file once the minimum is right (a "
                       "restart of the Mac resets it)\n"));
  fs::remove(lease);
  EXPECT_EQ(run({"fans", "set", "0", "3500"}).status, 0);
}

TEST_F(KelvoraFans, WithoutModesWhoseMinimumCannotBeRestoredAreReported) {
  choose(kWithMinimum);
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  killEverything();
  const std::string tool = home_.read(kTool);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 1);
  EXPECT_THAT(back.standardOutput, StartsWith("0  Leftside  nothing written  now 3000 rpm, "));
  EXPECT_THAT(back.standardError, EndsWith("fan 0: not handed back: F0Mn: the privileged tool "
                                           "ended with status 1\n"));
  home_.write(kTool, tool);
}

}  // namespace
}  // namespace kelvora::testing
