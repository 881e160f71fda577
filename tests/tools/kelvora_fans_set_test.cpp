// Fans that are set, and speeds that are refused before anything is written.
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tests/support/ChildProgram.h"
#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

TEST_F(KelvoraFans, KeepTheSpeedAfterTheCommandHasEnded) {
  const ProgramResult set = run({"fans", "set", "0", "3000"});
  EXPECT_EQ(set.status, 0);
  EXPECT_EQ(set.standardError, "");
  EXPECT_THAT(set.standardOutput,
              ContainsRegex("^0  Fan 1  set to 3000 rpm  now 3000 rpm, fixed, target 3000 rpm  "
                            "held by kelvora \\(process [0-9]+\\) since [-0-9T:+]+\n$"));
  expectSet(0, 3000);
  expectAutomatic(1);
}

TEST_F(KelvoraFans, InJSONSayWhatWasWrittenAndWhatIsRead) {
  const json set = jsonOf({"fans", "set", "1", "2500"});
  EXPECT_EQ(set.at("event"), "held");
  const json change = set.at("fans").at(0);
  EXPECT_EQ(change.at("written"),
            (json{{"mode", "fixed"}, {"target", 2500.0}, {"minimum", nullptr}}));
  EXPECT_EQ(change.at("read").at("index"), 1);
  EXPECT_EQ(change.at("read").at("target"), 2500.0);
  const json back = jsonOf({"fans", "auto", "1"});
  EXPECT_EQ(back.at("event"), "handedBack");
  EXPECT_EQ(back.at("fans").at(0).at("written"),
            (json{{"mode", "automatic"}, {"target", nullptr}, {"minimum", nullptr}}));
  EXPECT_EQ(back.at("fans").at(0).at("read").at("mode"), "automatic");
}

// The change was made and stays: only the report of it is missing.
TEST_F(KelvoraFans, AreHeldAlsoIfTheReportCannotBeWritten) {
  for (const char* command : {"set 0 3000", "hold --background 1=2500"}) {
    const ProgramResult result = runProgram(
        "/bin/sh", {"-c", std::string("exec " KELVORA_PROGRAM " fans ") + command + " >/dev/full"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.standardError,
              "kelvora: the report could not be written; the fans are held ('kelvora fans auto' "
              "hands them back)\n");
  }
  expectSet(0, 3000);
  expectSet(1, 2500);
}

TEST_F(KelvoraFans, TheHolderHasNeitherTheTerminalNorItsDescriptors) {
  // The output ends although the holder keeps running.
  EXPECT_EQ(runInTerminal(KELVORA_PROGRAM, {"fans", "set", "0", "3000"}, 200).status, 0);
  const std::string process = "/proc/" + std::to_string(holderOf(0));
  for (const char* descriptor : {"0", "1", "2"}) {
    EXPECT_EQ(fs::read_symlink(process + "/fd/" + descriptor), "/dev/null");
  }
  EXPECT_EQ(fs::read_symlink(process + "/cwd"), "/");
  EXPECT_EQ(getsid(holderOf(0)), holderOf(0));
}

TEST_F(KelvoraFans, AnotherSpeedReplacesTheHolderWhichKeepsItsOtherFans) {
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "1=2500"}).status, 0);
  const pid_t first = holderOf(0);
  EXPECT_EQ(holderOf(1), first);
  ASSERT_EQ(run({"fans", "set", "0", "3500"}).status, 0);
  expectSet(0, 3500);
  expectSet(1, 2500);
  EXPECT_NE(holderOf(0), first);
  EXPECT_EQ(holderOf(1), holderOf(0));
  EXPECT_TRUE(soon([&] { return !isRunning(first); }));
}

TEST_F(KelvoraFans, OfAnotherHolderStayWithIt) {
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000"}).status, 0);
  ASSERT_EQ(run({"fans", "hold", "--background", "1=2500"}).status, 0);
  const pid_t first = holderOf(0);
  const pid_t second = holderOf(1);
  ASSERT_NE(first, second);
  ASSERT_EQ(run({"fans", "set", "0", "3500"}).status, 0);
  expectSet(0, 3500);
  EXPECT_NE(holderOf(0), first);
  EXPECT_EQ(holderOf(1), second);
  ASSERT_EQ(run({"fans", "auto", "0"}).status, 0);
  EXPECT_EQ(holderOf(1), second);
  expectSet(1, 2500);
}

TEST_F(KelvoraFans, WithoutModesHaveTheirMinimumRaisedAndLoweredAgain) {
  choose(kWithMinimum);
  EXPECT_THAT(run({"fans", "set", "0", "4000"}).standardOutput,
              HasSubstr("minimum set to 4000 rpm  now 4000 rpm, at least 4000 rpm"));
  EXPECT_EQ(fan(0).at("minimum"), 2160.0) << "its own, not the raised one";
  EXPECT_EQ(fan(0).at("raisedTo"), 4000.0);
  EXPECT_EQ(run({"fans", "set", "0", "3000"}).status, 0) << "below the raised minimum";
  EXPECT_EQ(fan(0).at("raisedTo"), 3000.0);
  expectRefused({"fans", "set", "0", "2000"}, 2,
                "fan 0: 2000 is not within its limits, 2160 to 5940");
  const json back = jsonOf({"fans", "auto", "0"}).at("fans").at(0);
  EXPECT_EQ(back.at("written"),
            (json{{"mode", nullptr}, {"target", nullptr}, {"minimum", 2160.0}}));
  EXPECT_EQ(back.at("read").at("minimum"), 2160.0);
  EXPECT_EQ(back.at("read").at("raisedTo"), nullptr);
  EXPECT_EQ(run({"fans", "auto", "0"}).standardError,
            "kelvora: fan 0: nothing to restore, no program of this account has raised its "
            "minimum\n");
}

TEST_F(KelvoraFans, CommandsAtOnceChangeOneAfterTheOther) {
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "1=2500"}).status, 0);
  ChildProgram first(KELVORA_PROGRAM, {"fans", "set", "0", "3100"});
  ChildProgram second(KELVORA_PROGRAM, {"fans", "set", "1", "2600"});
  EXPECT_EQ(first.wait(), 0);
  EXPECT_EQ(second.wait(), 0);
  expectSet(0, 3100);
  expectSet(1, 2600);
  EXPECT_EQ(holderOf(0), holderOf(1));
}

// --- refusals

TEST_F(KelvoraFans, ThatDoNotExistAndSpeedsOutsideTheLimitsAreRefused) {
  expectRefused({"fans", "set", "2", "3000"}, 2,
                "fan 2: the machine has no such fan ('kelvora fans' lists them)");
  expectRefused({"fans", "set", "0", "2159"}, 2,
                "fan 0: 2159 is not within its limits, 2160 to 5927");
  expectRefused({"fans", "set", "0", "5928"}, 2,
                "fan 0: 5928 is not within its limits, 2160 to 5927");
  expectRefused({"fans", "hold", "0=3000", "0=3100"}, 2, "fan 0: has two speeds");
  expectRefused({"fans", "hold", "--background", "0=3000", "1=9000"}, 2,
                "fan 1: 9000 is not within its limits, 2000 to 5489");
  expectRefused({"fans", "auto", "7"}, 2,
                "fan 7: the machine has no such fan ('kelvora fans' lists them)");
  expectRefused({"fans", "hold", "0=3000", "--for", "0"}, 2,
                "--for takes a time above 0, e.g. 10m");
  EXPECT_EQ(jsonOf({"machine"}).at("choice").at("writes"), json::array());
}

TEST_F(KelvoraFans, WordsOfAnotherFormAreRefused) {
  for (const char* word : {"F0", "-1", "x", "", "0.5", "99999999999999999999"}) {
    EXPECT_EQ(run({"fans", "set", word, "3000"}).status, 2) << word;
    EXPECT_EQ(run({"fans", "set", "--", word, "3000"}).status, 2) << word;
  }
  for (const char* word : {"fast", "3000.5", "3000rpm", "", "99999999999999999999"}) {
    EXPECT_EQ(run({"fans", "set", "0", word}).status, 2) << word;
  }
  expectRefused({"fans", "set", "x", "3000"}, 2,
                "x: a fan is named by its index, e.g. 0 ('kelvora fans' lists them)");
  expectRefused({"fans", "set", "0", "fast"}, 2,
                "fast: a speed is a whole number of revolutions per minute, e.g. 3000");
  expectRefused({"fans", "hold", "3000"}, 2,
                "3000: a fan's index and its speed are needed, e.g. 0=3000");
  for (const char* const half : {"0=", "=3000", "="}) {
    expectRefused({"fans", "hold", half}, 2,
                  std::string(half) + ": a fan's index and its speed are needed, e.g. 0=3000");
  }
  EXPECT_EQ(run({"fans", "hold"}).status, 2);
}

TEST_F(KelvoraFans, OfAMachineThatOnlyThisProgramWouldWriteToAreRefused) {
  const std::string rest =
      ": its fans would be set in this program's memory only; choose it first: kelvora machine "
      "use ";
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"fans", "set", "0", "3000"},
        {"fans", "auto", "0"},
        {"fans", "hold", "0=3000"},
        {"fans", "apply", "Quiet"}}) {
    std::vector<std::string> named = command;
    named.insert(named.end(), {"--machine", "iMac19,1"});
    expectRefused(named, 2, "iMac19,1" + rest + "iMac19,1");
    EXPECT_EQ(runKelvora(command, {{"KELVORA_MACHINE", "Macmini8,1"}}).standardError,
              "kelvora: Macmini8,1" + rest + "Macmini8,1\n");
  }
  ASSERT_EQ(run({"machine", "none"}).status, 0);
  expectRefused({"fans", "set", "0", "3000"}, 2,
                "no Apple hardware here; choose a recorded Mac first: kelvora machine use "
                "MacBookPro15,1");
}

TEST_F(KelvoraFans, WithoutTheToolAreNotSetButListed) {
  fs::remove(home_.path(kTool));
  expectRefused({"fans", "set", "0", "3000"}, 1,
                "the privileged tool is not installed: 'kelvora fans permit' installs it");
  EXPECT_EQ(run({"fans"}).status, 0);
  EXPECT_EQ(run({"fans", "auto", "all"}).status, 0) << "they are the system's already";
  EXPECT_THAT(processes(), IsEmpty());
}

// The new holder ends by itself, or without a word.
TEST_F(KelvoraFans, WhoseNewHolderCannotTakeThemAreHandedBackWithItsOthers) {
  fs::rename(home_.path(kTool), home_.path("tool"));
  for (const auto& [command, line] :
       {std::pair("exit 1", "fan 0: F0Tg: the privileged tool ended with status 1"),
        {"kill -9 $PPID", "the holder has been ended by signal 9"}}) {
    home_.write(kTool, "#!/bin/sh\ncase $4 in 00c05a45) " + std::string(command) +
                           ";; esac\nexec " + home_.path("tool") + " \"$@\"\n");  // 3500
    fs::permissions(home_.path(kTool), fs::perms(0755));
    ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "1=2500"}).status, 0);
    expectRefused({"fans", "set", "0", "3500"}, 1,
                  std::string(line) + "\nkelvora: fan 0: handed back, as its holder has ended" +
                      "\nkelvora: fan 1: handed back, as its holder has ended");
    EXPECT_TRUE(soon([this] { return processes().empty(); }));
    expectAutomatic(0);
    expectAutomatic(1);
  }
}

TEST_F(KelvoraFans, AreNotSetWithoutTheLockOfTheCommandsAndHandedBackAllTheSame) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const std::string lock = home_.path("data/group.com.kelvora/FanChange.lock");
  fs::remove(lock);
  fs::create_directory(lock);
  EXPECT_THAT(run({"fans", "set", "0", "3100"}).standardError,
              StartsWith("kelvora: the fans cannot be locked: "));
  expectSet(0, 3000);
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 0);
  EXPECT_THAT(back.standardError, StartsWith("kelvora: the fans cannot be locked: "));
  EXPECT_THAT(back.standardError, EndsWith("; handing back all the same\n"));
  expectAutomatic(0);
}

// The tool ends whoever started it, so the holder before it can say anything, and its guardian.
TEST_F(KelvoraFans, WhoseHolderIsKilledWhileItTakesThemAreReported) {
  const std::string tool = home_.read(kTool);
  home_.write(kTool, "#!/bin/sh\nkill -9 $PPID\n");
  expectRefused({"fans", "set", "0", "3000"}, 1, "the holder has been ended by signal 9");
  EXPECT_TRUE(soon([this] { return processes().empty(); }));
  home_.write(kTool, tool);
  expectAutomatic(0);
}

TEST_F(KelvoraFans, WhoseModeCannotBeReadAreNotSet) {
  choose("iMac19,1");
  expectRefused({"fans", "set", "0", "2000"}, 1,
                "fan 0: cannot be set on this Mac: its mode cannot be read");
}

}  // namespace
}  // namespace kelvora::testing
