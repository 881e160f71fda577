// Fans in the terminal: real programs on the recorded Mac that an account has chosen.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/SensorController.h"

#include "platforms/posix/PosixChildProcesses.h"
#include "ports/Ports.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// Fans with modes and targets, and fans that have neither mode nor write of a target.
constexpr char kWithModes[] = "MacBookPro15,1";
constexpr char kWithMinimum[] = "MacBookPro10,1";
constexpr char kTool[] = "data/Kelvora/Kelvora SMC";

class KelvoraFans : public ::testing::Test {
 protected:
  KelvoraFans() {
    unsetenv("KELVORA_MACHINE");
    setenv("HOME", home_.path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", home_.path("config").c_str(), 1);
    setenv("XDG_DATA_HOME", home_.path("data").c_str(), 1);
    home_.write(kTool, "");
    fs::copy_file(KELVORA_TEST_TOOL, home_.path(kTool), fs::copy_options::overwrite_existing);
    choose(kWithModes);
  }
  ~KelvoraFans() override {
    run({"fans", "auto", "all"});
    if (!soon([this] { return processes().empty(); })) {
      ADD_FAILURE() << "processes are left";
      for (const pid_t process : processes()) {
        ::kill(process, SIGKILL);
      }
    }
  }

  static ProgramResult run(const std::vector<std::string>& arguments) {
    return runKelvora(arguments);
  }
  static void choose(const char* machine) { ASSERT_EQ(run({"machine", "use", machine}).status, 0); }
  static json jsonOf(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.standardError;
    return json::parse(result.standardOutput);
  }
  static json fan(std::size_t index) { return jsonOf({"fans"}).at("fans").at(index); }
  // 0 for a fan that nobody holds.
  static pid_t holderOf(std::size_t index) {
    const json lease = fan(index).at("lease");
    return lease.is_null() ? 0 : lease.at("process").get<pid_t>();
  }
  static void expectSet(std::size_t index, double speed) {
    const json read = fan(index);
    EXPECT_EQ(read.at("mode"), "fixed");
    EXPECT_EQ(read.at("target"), speed);
    EXPECT_EQ(read.at("speed"), speed);
    EXPECT_EQ(read.at("lease").at("program"), "kelvora");
    EXPECT_EQ(read.at("lease").at("isLive"), true);
  }
  static void expectAutomatic(std::size_t index) {
    const json read = fan(index);
    EXPECT_EQ(read.at("mode"), "automatic");
    EXPECT_TRUE(read.at("lease").is_null()) << read;
  }
  static void expectRefused(const std::vector<std::string>& arguments, int status,
                            const std::string& line) {
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_EQ(result.standardError, "kelvora: " + line + "\n");
  }

  static bool soon(const std::function<bool()>& predicate) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!predicate()) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
      std::this_thread::yield();
    }
    return true;
  }
  static bool isRunning(pid_t process) {
    // One that has ended and is not reaped yet has no executable.
    std::error_code error;
    return !fs::read_symlink("/proc/" + std::to_string(process) + "/exe", error).empty();
  }
  bool isOnDisk(int fan) const {
    return fs::exists(home_.path("data/group.com.kelvora/Fan" + std::to_string(fan) + ".plist"));
  }

  // Processes of this test's account that run one of the product's programs.
  std::vector<pid_t> processes(const std::string& program = "") const {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
      std::error_code error;
      const std::string path = fs::read_symlink(entry.path() / "exe", error).string();
      const bool isOne = program.empty() ? path == KELVORA_PROGRAM || path == KELVORA_TEST_GUARDIAN
                                         : path == program;
      if (!error && isOne && isOfThisTest(entry.path())) {
        found.push_back(std::stoi(entry.path().filename().string()));
      }
    }
    return found;
  }
  bool isOfThisTest(const fs::path& process) const {
    std::ifstream file(process / "environ", std::ios::binary);
    const std::string environment{std::istreambuf_iterator<char>(file), {}};
    return environment.find("HOME=" + home_.path()) != std::string::npos;
  }
  // Holders and guardians: stopped first, none sees the other's end.
  void killEverything() const {
    for (const int signal : {SIGSTOP, SIGKILL}) {
      for (const pid_t process : processes()) {
        ::kill(process, signal);
      }
    }
    ASSERT_TRUE(soon([this] { return processes().empty(); }));
  }
  std::vector<pid_t> guardians() const { return processes(KELVORA_TEST_GUARDIAN); }

  TemporaryFolder home_;
};

// --- the list

TEST_F(KelvoraFans, AreListedWithSpeedLimitsModeAndTarget) {
  const ProgramResult result = run({"fans"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardError, "");
  EXPECT_EQ(result.standardOutput,
            "MacBook Pro 15-inch 2018 (recorded)\n\n"
            "0  Fan 1  2162 rpm  2160 to 5927 rpm  automatic, target 2160 rpm\n"
            "1  Fan 2  1995 rpm  2000 to 5489 rpm  automatic, target 2000 rpm\n");
  EXPECT_EQ(run({"fans", "list"}).standardOutput, result.standardOutput);
  const json report = jsonOf({"fans", "list"});
  EXPECT_EQ(report.at("leftBehind"), json::array());
  EXPECT_EQ(report.at("machine").at("model"), kWithModes);
  const json fan = report.at("fans").at(1);
  EXPECT_EQ(fan.at("index"), 1);
  EXPECT_EQ(fan.at("minimum"), 2000.0);
  EXPECT_EQ(fan.at("maximum"), 5489.0);
  EXPECT_EQ(fan.at("mode"), "automatic");
  EXPECT_TRUE(fan.at("lease").is_null());
}

TEST_F(KelvoraFans, WithoutModesHaveNoneInTheList) {
  choose(kWithMinimum);
  EXPECT_THAT(run({"fans"}).standardOutput,
              HasSubstr("0  Leftside   2982 rpm  2160 to 5940 rpm  target 2986 rpm\n"));
  EXPECT_TRUE(fan(0).at("mode").is_null());
}

TEST_F(KelvoraFans, OfAMachineThatIsNamedHaveNoLeases) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const ProgramResult named = run({"fans", "--machine", kWithModes});
  EXPECT_EQ(named.status, 0);
  EXPECT_THAT(named.standardOutput, HasSubstr("0  Fan 1  2162 rpm"));
  EXPECT_THAT(named.standardOutput, ::testing::Not(HasSubstr("held by")));
  EXPECT_THAT(runKelvora({"fans"}, {{"KELVORA_MACHINE", kWithModes}}).standardOutput,
              ::testing::Not(HasSubstr("held by")));
  expectSet(0, 3000);
}

TEST_F(KelvoraFans, OfAMachineWithoutSMCAreNone) {
  const std::string file = home_.write(
      "none.json", R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64"})");
  const ProgramResult result = run({"fans", "--machine", file});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardOutput, EndsWith("\nno fans\n"));
  EXPECT_THAT(result.standardError, EndsWith(": there is no SMC with fans\n"));
}

TEST_F(KelvoraFans, OnANarrowTerminalHaveLinesOfTheirOwn) {
  ASSERT_EQ(run({"fans", "set", "0", "3000"}).status, 0);
  const std::string text =
      runInTerminal(KELVORA_PROGRAM, {"fans"}, 40, {{"NO_COLOR", "1"}}).standardOutput;
  EXPECT_THAT(text, HasSubstr("\n0  Fan 1\n   3000 rpm\n   2160 to 5927 rpm\n"
                              "   fixed, target 3000 rpm\n   held by kelvora (process "));
  EXPECT_THAT(text, HasSubstr("\n1  Fan 2\n   1995 rpm\n"));
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 40U) << line;
  }
  EXPECT_THAT(
      runInTerminal(KELVORA_PROGRAM, {"fans"}, 200, {{"NO_COLOR", "1"}}).standardOutput,
      ContainsRegex("\n0  Fan 1  3000 rpm  2160 to 5927 rpm  fixed, target 3000 rpm +held by"));
}

// --- set

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
            (json{{"mode", "automatic"}, {"target", 2000.0}, {"minimum", nullptr}}));
  EXPECT_EQ(back.at("fans").at(0).at("read").at("mode"), "automatic");
}

TEST_F(KelvoraFans, TheHolderHasNeitherTheTerminalNorItsDescriptors) {
  // The end of the output comes although the holder goes on.
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

// --- refusals, before anything is written

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

TEST_F(KelvoraFans, WhoseModeCannotBeReadAreNotSet) {
  choose("iMac19,1");
  expectRefused({"fans", "set", "0", "2000"}, 1, "fan 0: its mode cannot be read");
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 1);
  EXPECT_THAT(back.standardError, EndsWith("fan 0: not handed back: its mode cannot be read\n"));
}

// --- hold

TEST_F(KelvoraFans, AreHeldUntilASignalAndHandedBack) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
    EXPECT_THAT(holder.nextLine(), StartsWith("0  Fan 1  set to 3000 rpm  now 3000 rpm, fixed"));
    EXPECT_EQ(holder.nextErrorLine(),
              "kelvora: holding; an interrupt (Ctrl-C) hands the fans back");
    EXPECT_EQ(holderOf(0), holder.pid());
    holder.signal(signal);
    EXPECT_THAT(holder.restOfOutput(), StartsWith("0  Fan 1  handed back  now "));
    EXPECT_EQ(holder.wait(), 0);
    expectAutomatic(0);
  }
}

TEST_F(KelvoraFans, AreHeldForATime) {
  const ProgramResult result = run({"fans", "hold", "0=3000", "1=2500", "--for", "0.2", "--json"});
  EXPECT_EQ(result.status, 0);
  std::istringstream lines(result.standardOutput);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  const json held = json::parse(line);
  EXPECT_EQ(held.at("event"), "held");
  EXPECT_EQ(held.at("fans").size(), 2U);
  ASSERT_TRUE(std::getline(lines, line));
  const json back = json::parse(line);
  EXPECT_EQ(back.at("event"), "handedBack");
  EXPECT_EQ(back.at("fans").at(1).at("read").at("mode"), "automatic");
  EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(KelvoraFans, InTheBackgroundAreHeldForATimeToo) {
  ASSERT_EQ(run({"fans", "hold", "--background", "0=3000", "--for", "0.2"}).status, 0);
  EXPECT_TRUE(soon([this] { return !isOnDisk(0); }));
  expectAutomatic(0);
}

// Longer than the time-out of a lease: without renewals the guardian would hand the fan back.
TEST_F(KelvoraFans, AreHeldForLongerThanALeaseWithoutRenewals) {
  const ProgramResult result = run({"fans", "hold", "0=3000", "--for", "11"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_THAT(result.standardOutput, HasSubstr("handed back"));
}

TEST_F(KelvoraFans, ALostLeaseIsReported) {
  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
  holder.nextLine();
  ASSERT_EQ(guardians().size(), 1U);
  ::kill(guardians().front(), SIGKILL);
  holder.nextErrorLine();
  EXPECT_EQ(holder.restOfError(),
            "kelvora: the fans are no longer held: the guardian has ended; they are handed back\n");
  EXPECT_EQ(holder.wait(), 1);
  expectAutomatic(0);
}

TEST_F(KelvoraFans, HeldByAnotherHoldAreRefused) {
  ChildProgram holder(KELVORA_PROGRAM, {"fans", "hold", "0=3000"});
  holder.nextLine();
  const std::string line = "fan 0: held by kelvora (process " + std::to_string(holder.pid()) + ")";
  expectRefused({"fans", "hold", "0=3100"}, 3, line);
  expectRefused({"fans", "hold", "--background", "1=2500", "0=3100"}, 3, line);
  expectSet(0, 3000);
  expectAutomatic(1);
  holder.signal(SIGTERM);
  EXPECT_EQ(holder.wait(), 0);
}

// --- auto

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

// --- another program

class KelvoraFansOfAnotherProgram : public KelvoraFans {
 protected:
  void hold(std::uint64_t fan, std::uint64_t speed) {
    machine_ = Platform::chosen();
    machine_->ports().childProcesses = std::make_unique<platform::PosixChildProcesses>();
    controller_ = std::make_unique<SensorController>(*machine_);
    KVFanLeaseOptions options;
    options.timeout = std::chrono::minutes(10);
    options.program = "Test Host";
    options.guardian = KELVORA_TEST_GUARDIAN;
    lease_ = std::make_unique<KVFanLease>(*controller_, options);
    ASSERT_TRUE(lease_->take({{fan, speed}})) << lease_->fault();
  }
  ~KelvoraFansOfAnotherProgram() override { lease_.reset(); }
  static std::string holder() {
    return "held by Test Host (process " + std::to_string(getpid()) + ")";
  }

 private:
  std::unique_ptr<Platform> machine_;
  std::unique_ptr<SensorController> controller_;
  std::unique_ptr<KVFanLease> lease_;
};

TEST_F(KelvoraFansOfAnotherProgram, AreListedWithItAndNotSet) {
  hold(0, 3000);
  EXPECT_THAT(run({"fans"}).standardOutput, HasSubstr(holder() + " since "));
  expectRefused({"fans", "set", "0", "3100"}, 3, "fan 0: " + holder());
  expectRefused({"fans", "hold", "0=3100"}, 3, "fan 0: " + holder());
  EXPECT_EQ(fan(0).at("target"), 3000.0);
  EXPECT_EQ(run({"fans", "set", "1", "2500"}).status, 0) << "the other fan is free";
}

TEST_F(KelvoraFansOfAnotherProgram, AreHandedBackAllTheSame) {
  hold(0, 3000);
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.standardError, "kelvora: fan 0: " + holder() + ", which may set it again\n");
  EXPECT_EQ(fan(0).at("mode"), "automatic");
}

TEST_F(KelvoraFansOfAnotherProgram, GetTheirMinimumBack) {
  choose(kWithMinimum);
  hold(1, 3000);
  EXPECT_EQ(fan(1).at("raisedTo"), 3000.0);
  const ProgramResult back = run({"fans", "auto", "1"});
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.standardError, "kelvora: fan 1: " + holder() + ", which may set it again\n");
  EXPECT_EQ(fan(1).at("raisedTo"), 2000.0);
}

// --- apply

TEST_F(KelvoraFans, OfAFanSetAreHeldTogether) {
  ASSERT_EQ(run({"fansets", "add", "Fast", "F0=5000", "F1=5200.4"}).status, 0);
  const json applied = jsonOf({"fans", "apply", "Fast"});
  EXPECT_EQ(applied.at("fans").size(), 2U);
  expectSet(0, 5000);
  expectSet(1, 5200);
  EXPECT_EQ(holderOf(0), holderOf(1));
  ASSERT_EQ(run({"fansets", "add", "Quiet", "F1=2500"}).status, 0);
  const std::string identifier = jsonOf({"fansets"}).at("fanSets").at(1).at("identifier");
  ASSERT_EQ(run({"fans", "apply", identifier}).status, 0);
  expectSet(0, 5000);
  expectSet(1, 2500);
}

TEST_F(KelvoraFans, OfAFanSetThatDoesNotFitAreRefused) {
  expectRefused({"fans", "apply", "Quiet"}, 2,
                "Quiet: The data entered is not valid. ('kelvora fansets' lists the fan sets)");
  ASSERT_EQ(run({"fansets", "add", "Quiet", "F0=2500", "F5=2000"}).status, 0);
  expectRefused({"fans", "apply", "Quiet"}, 2,
                "fan 5: the machine has no such fan ('kelvora fans' lists them)");
  expectRefused({"fans", "apply", "Quite"}, 2,
                "Quite: The data entered is not valid. (did you mean Quiet?)");
  expectAutomatic(0);
}

// --- kills

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

// The minimum that was there before is known to nobody.
TEST_F(KelvoraFans, OfALeaseThatCannotBeReadAreListedWithAnotherProgram) {
  choose(kWithMinimum);
  home_.write("data/group.com.kelvora/Fan1.plist", "no lease");
  const ProgramResult list = run({"fans"});
  EXPECT_EQ(list.status, 1);
  EXPECT_THAT(list.standardError, StartsWith("kelvora: fan 1: left behind by another program, not "
                                             "handed back: "));
  EXPECT_THAT(list.standardOutput, HasSubstr("left behind by another program\n"));
}

}  // namespace
}  // namespace kelvora::testing
