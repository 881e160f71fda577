// Fans whose holder was killed, and those left behind.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(KelvoraFans, OfAHolderThatIsKilledComeBack) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  ::kill(holderOf(0), SIGKILL);
  EXPECT_TRUE(soon([this] { return !isOnDisk(0); }));
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.standardError, "") << "the guardian has handed it back";
  expectAutomatic(0);
}

TEST_F(KelvoraFans, LeftBehindAreHandedBackByTheNextCommand) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const pid_t holder = holderOf(0);
  killEverything();
  ASSERT_TRUE(isOnDisk(0));
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 0);
  EXPECT_EQ(list.standardError, "kelvora: fan 0: left behind by kelvora (process " +
                                    std::to_string(holder) + "), handed back\n");
  EXPECT_FALSE(isOnDisk(0));
  expectAutomatic(0);
}

TEST_F(KelvoraFans, LeftBehindAreHandedBackByEveryCommandThatUsesTheMachine) {
  for (const char* command : {"sensors", "inventory", "usage"}) {
    ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
    const std::string holder = std::to_string(holderOf(0));
    EXPECT_THAT(run({command}).standardError, Not(HasSubstr("fan 0")));
    EXPECT_EQ(std::to_string(holderOf(0)), holder);
    killEverything();
    run({command, "--machine", kWithMinimum});
    EXPECT_TRUE(isOnDisk(0)) << command << " of another machine";
    const ProgramResult next = run({command, "--json"});
    EXPECT_THAT(next.standardError, HasSubstr("kelvora: fan 0: left behind by kelvora (process " +
                                              holder + "), handed back\n"));
    EXPECT_EQ(next.status, 0);
    EXPECT_TRUE(json::accept(next.standardOutput)) << command;
    expectAutomatic(0);
  }
}

// Without the tool, no command before it could.
TEST_F(KelvoraFans, LeftBehindAreHandedBackOnceTheToolIsInstalled) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  killEverything();
  fs::rename(home_.path(kTool), home_.path("tool"));
  const ProgramResult sensors = run({"sensors"});
  EXPECT_EQ(sensors.status, 0);
  EXPECT_THAT(sensors.standardError, HasSubstr("F0Md: the privileged tool is not installed\n"));
  fs::rename(home_.path("tool"), home_.path(kTool));
  EXPECT_THAT(run({"fans", "permit"}).standardError, HasSubstr("handed back\n"));
  expectAutomatic(0);
}

TEST_F(KelvoraFans, LeftBehindAreHandedBackByTheDoctorToo) {
  EXPECT_THAT(run({"doctor"}).standardOutput, ContainsRegex("ok +fans +none left behind\n"));
  EXPECT_THAT(run({"doctor"}).standardOutput,
              ContainsRegex("ok +fan guardian +/.*Kelvora Guardian\n"));
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  EXPECT_THAT(run({"doctor"}).standardOutput,
              ContainsRegex("ok +fans +none left behind, held: fan 0 by kelvora \\(process "));
  killEverything();
  EXPECT_THAT(run({"doctor", "--machine", kWithModes}).standardOutput,
              ContainsRegex("ok +fans +of a recording"));
  EXPECT_TRUE(isOnDisk(0));
  EXPECT_THAT(
      run({"doctor"}).standardOutput,
      ContainsRegex("ok +fans +handed back now, left behind: fan 0 by kelvora \\(process "));
  expectAutomatic(0);
}

TEST_F(KelvoraFans, LeftBehindThatCannotBeHandedBackAreAFailure) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  killEverything();
  fs::rename(home_.path(kTool), home_.path("tool"));
  const ProgramResult list = run({"fans", "--json"});
  EXPECT_EQ(list.status, 1);
  EXPECT_THAT(
      list.standardError,
      ContainsRegex("^kelvora: fan 0: left behind by kelvora \\(process [0-9]+\\), not handed "
                    "back: F0Md: the privileged tool is not installed\n$"));
  const json report = json::parse(list.standardOutput);
  EXPECT_THAT(report.at("leftBehind").at(0).at("fault").get<std::string>(),
              HasSubstr("not installed"));
  EXPECT_EQ(report.at("fans").at(0).at("lease").at("isLive"), false);
  EXPECT_THAT(run({"fans"}).standardOutput, HasSubstr("left behind by kelvora (process "));
  const ProgramResult doctor = run({"doctor"});
  EXPECT_EQ(doctor.status, 1);
  EXPECT_THAT(doctor.standardOutput, ContainsRegex("broken +fans +left behind: fan 0 by kelvora"));
  fs::rename(home_.path("tool"), home_.path(kTool));
}

TEST_F(KelvoraFans, OfALeaseThatCannotBeReadAreHandedBackByTheirMode) {
  home_.write("data/group.com.kelvora/Fan1.plist", "no lease");
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 0);
  EXPECT_EQ(list.standardError, "kelvora: fan 1: left behind by another program, handed back\n");
  EXPECT_EQ(run({"fans"}).standardError, "");
}

// The original minimum is lost.
TEST_F(KelvoraFans, OfALeaseThatCannotBeReadAreListedWithAnotherProgram) {
  choose(kWithMinimum);
  home_.write("data/group.com.kelvora/Fan1.plist", "no lease");
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 1);
  EXPECT_THAT(list.standardError, StartsWith("kelvora: fan 1: left behind by another program, not "
                                             "handed back: "));
  EXPECT_THAT(list.standardOutput, HasSubstr("left behind by another program\n"));
}

// The pipe has no writer: a reader would wait for ever.
TEST_F(KelvoraFans, OfALeaseThatIsAPipeOrTooLargeAreReportedWithItsPath) {
  choose(kWithMinimum);
  const std::string large =
      home_.write("data/group.com.kelvora/Fan0.plist", std::string(65'537, ' '));
  const std::string pipe = home_.path("data/group.com.kelvora/Fan1.plist");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 1);
  const std::string left = ": left behind by another program, not handed back: ";
  EXPECT_EQ(list.standardError, "kelvora: fan 0" + left + large + ": larger than 64 KB\n" +
                                    "kelvora: fan 1" + left + pipe + ": not a file\n");
  EXPECT_THAT(run({"doctor"}).standardOutput, HasSubstr(pipe + ": not a file"));
  EXPECT_EQ(run({"fans", "hold", "1=3000", "--for", "1"}).status, 1);
  choose(kWithModes);
  EXPECT_EQ(run({"fans"}).status, 0) << "their modes are known";
  EXPECT_FALSE(isOnDisk(1));
}

TEST_F(KelvoraFans, WhoseLeaseIsAFolderLeaveWhatIsInIt) {
  const std::string file = home_.write("data/group.com.kelvora/Fan0.plist/mine/notes", "precious");
  run({"fans"});
  run({"fans", "auto", "0"});
  EXPECT_TRUE(fs::exists(file));
  fs::remove_all(home_.path("data/group.com.kelvora/Fan0.plist"));
}

// The holder was killed while its guardian was stopped.
TEST_F(KelvoraFans, OfADeadHolderWhoseGuardianIsStoppedAreAFailure) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const pid_t holder = holderOf(0);
  const pid_t guardian = guardians().at(0);
  ::kill(guardian, SIGSTOP);
  ::kill(holder, SIGKILL);
  ASSERT_TRUE(soon([&] { return !isRunning(holder); }));
  const std::string fault = "its holder has ended, and its guardian (process " +
                            std::to_string(guardian) + ") does not answer";
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 1);
  EXPECT_EQ(list.standardError, "kelvora: fan 0: the guardian of kelvora (process " +
                                    std::to_string(holder) + ") cannot hand it back: " + fault +
                                    " ('kelvora fans auto 0' tries)\n");
  EXPECT_THAT(run({"doctor"}).standardOutput, ContainsRegex("broken +fans +not handed back: "));
  const auto start = std::chrono::steady_clock::now();
  expectRefused({"fans", "set", "0", "3500"}, 3,
                "fan 0: still held by kelvora (process " + std::to_string(holder) + "): " + fault);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(25))
      << "a holder that has ended needs no time to end";
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 0) << back.standardError;
  EXPECT_THAT(back.standardOutput, HasSubstr("automatic"));
  EXPECT_THAT(back.standardError, HasSubstr(fault));
  ::kill(guardian, SIGCONT);
  EXPECT_TRUE(soon([this] { return !isOnDisk(0); }));
  expectAutomatic(0);
}

// Two holders: one ends and one cannot, so the other fan of the first gets a holder of its own.
TEST_F(KelvoraFans, OfAHolderThatEndsBesideOneThatDoesNotStayAtTheirSpeeds) {
  choose(home_.write("mac.json", kThreeFans).c_str());
  ASSERT_EQ(run({"fans", "hold", "--background", "2=3000"}).status, 0);
  const pid_t stopped = guardians().at(0);
  const pid_t dead = holderOf(2);
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "1=2500"}).status, 0);
  ::kill(stopped, SIGSTOP);
  ::kill(dead, SIGKILL);
  ASSERT_TRUE(soon([&] { return !isRunning(dead); }));
  ASSERT_EQ(run({"fansets", "add", "Both", "F0=3500", "F2=3500"}).status, 0);
  const ProgramResult refused = run({"fans", "apply", "Both"});
  EXPECT_EQ(refused.status, 3);
  EXPECT_THAT(refused.standardError, HasSubstr("kelvora: fan 2: still held by kelvora (process " +
                                               std::to_string(dead) + "): its holder has ended"));
  EXPECT_THAT(refused.standardError,
              HasSubstr("kelvora: fan 0: handed back, as its holder has ended\n"));
  // While a fan is left behind, the list's status is 1.
  const auto isHeld = [](std::size_t index) {
    const auto list = nlohmann::json::parse(run({"fans", "--json"}).standardOutput);
    const nlohmann::json& fan = list.at("fans").at(index);
    return fan.at("mode") == "fixed" && fan.at("target") == 2500 &&
           fan.at("lease").at("isLive") == true;
  };
  EXPECT_TRUE(isHeld(1));
  const ProgramResult back = run({"fans", "auto", "0", "2"});
  EXPECT_THAT(back.standardOutput, HasSubstr("0  Fan 1  handed back"));
  EXPECT_TRUE(isHeld(1));
  ::kill(stopped, SIGCONT);
}

TEST_F(KelvoraFans, AtAFixedSpeedWithoutALeaseAreHandedBackByEveryCommandThatUsesTheMachine) {
  const std::string line = "kelvora: fan 1: at a fixed speed without a lease, handed back\n";
  for (const char* command : {"fans", "sensors", "inventory"}) {
    ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
    run({command, "--machine", kWithModes});
    const ProgramResult next = run({command, "--json"});
    EXPECT_THAT(next.standardError, HasSubstr(line)) << command;
    EXPECT_EQ(next.status, 0);
    EXPECT_TRUE(json::accept(next.standardOutput)) << command;
    expectAutomatic(1);
  }
  EXPECT_EQ(run({"fans"}).standardError, "");
}

TEST_F(KelvoraFans, AtAFixedSpeedWithoutALeaseAreHandedBackByTheDoctorToo) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  EXPECT_THAT(run({"doctor"}).standardOutput,
              ContainsRegex("ok +fans +handed back now, left behind: fan 1 without a lease\n"));
  expectAutomatic(1);
}

TEST_F(KelvoraFans, AtAFixedSpeedWithoutALeaseThatStayAreAFailure) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  fs::rename(home_.path(kTool), home_.path("tool"));
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  fs::permissions(home_.path(kTool), fs::perms(0755));
  const ProgramResult list = run({"fans", "--json"});
  EXPECT_EQ(list.status, 1);
  const std::string fault = "F1Md: the privileged tool ended with status 1";
  EXPECT_EQ(json::parse(list.standardOutput).at("leftBehind"), (json{{{"index", 1},
                                                                      {"program", nullptr},
                                                                      {"process", nullptr},
                                                                      {"since", nullptr},
                                                                      {"fault", fault}}}));
  EXPECT_THAT(list.standardError,
              HasSubstr("fan 1: at a fixed speed without a lease, not handed back: " + fault));
  const ProgramResult doctor = run({"doctor"});
  EXPECT_EQ(doctor.status, 1);
  EXPECT_THAT(doctor.standardOutput,
              ContainsRegex("broken +fans +left behind: fan 1 without a lease: " + fault));
  fs::rename(home_.path("tool"), home_.path(kTool));
}

// Without the tool nothing can be written, as where another program sets the fans.
TEST_F(KelvoraFans, AtAFixedSpeedWithoutALeaseAreReportedWithoutTheTool) {
  ASSERT_EQ(runProgram(home_.path(kTool), {"-k", "F1Md", "-w", "01"}).status, 0);
  fs::rename(home_.path(kTool), home_.path("tool"));
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 0);
  EXPECT_EQ(list.standardError,
            "kelvora: fan 1 is at a fixed speed and no lease is known; 'kelvora fans auto 1' hands "
            "it back\n");
  EXPECT_THAT(run({"doctor"}).standardOutput,
              ContainsRegex("hint +fans +at a fixed speed, and no lease is known: fan 1"));
  EXPECT_EQ(fan(1).at("mode"), "fixed");
  EXPECT_EQ(run({"fans", "--machine", kWithModes}).standardError, "");
  fs::rename(home_.path("tool"), home_.path(kTool));
}

TEST_F(KelvoraFans, WithANameOfTwoLinesAreListedOnOne) {
  choose(kWithMinimum);
  home_.write(kTool, "#!/bin/sh\nexit 1\n");
  home_.write("data/group.com.kelvora/Fan0.plist",
              "<plist version=\"1.0\"><dict><key>program</key><string>two\nlines</string>"
              "<key>process</key><integer>7</integer><key>fan</key><integer>0</integer>"
              "<key>since</key><date>2026-01-02T03:04:05Z</date><key>key</key>"
              "<string>F0Mn</string><key>value</key><string>1f40</string></dict></plist>");
  for (const char* command : {"fans", "doctor"}) {
    const std::string text = run({command}).standardOutput;
    EXPECT_THAT(text, HasSubstr("lines (process 7)"));
    EXPECT_THAT(text, Not(HasSubstr("two\n"))) << command;
  }
  fs::remove(home_.path("data/group.com.kelvora/Fan0.plist"));
}

}  // namespace
}  // namespace kelvora::testing
