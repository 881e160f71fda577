// What a running machine uses, as a person sees it: usage, top and network.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/RecordedMachines.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class KelvoraUsage : public ::testing::Test {
 protected:
  KelvoraUsage() {
    setenv("XDG_CONFIG_HOME", folder_.path("config").c_str(), 1);
    setenv("NO_COLOR", "1", 1);
    unsetenv("KELVORA_MACHINE");
  }
  static std::string outputOf(std::vector<std::string> arguments,
                              const std::string& machine = "MacBookPro15,1") {
    arguments.insert(arguments.end(), {"--machine", machine});
    return runKelvora(arguments).standardOutput;
  }
  static json jsonOf(const std::vector<std::string>& arguments,
                     const std::string& machine = "MacBookPro15,1") {
    std::vector<std::string> all = arguments;
    all.emplace_back("--json");
    return json::parse(outputOf(all, machine));
  }
  std::string machineWith(const std::string& members) const {
    return folder_.write("machine.json",
                         R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64",
                             "title": "T")" +
                             members + "}");
  }
  static void expectUsageError(const std::vector<std::string>& arguments,
                               const std::string& fault) {
    const ProgramResult result = runKelvora(arguments);
    EXPECT_EQ(result.status, 2) << fault;
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError, StartsWith("kelvora: "));
    EXPECT_THAT(result.standardError, HasSubstr(fault));
    EXPECT_EQ(lineCount(result.standardError), 1);
  }
  static void expectToFit(const std::string& report, std::size_t columns) {
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
      std::size_t characters = 0;
      for (const char byte : line) {
        characters += (static_cast<unsigned char>(byte) & 0xC0) != 0x80 ? 1 : 0;
      }
      EXPECT_LE(characters, columns) << line;
    }
  }

  const TemporaryFolder folder_;
};

TEST_F(KelvoraUsage, OfARecordedMacIsThatSinceStartUp) {
  EXPECT_EQ(outputOf({"usage"}),
            "MacBook Pro 15-inch 2018 (recorded)\n"
            "\n"
            "Processor (since start-up)\n"
            "  Total                17.3 %\n"
            "  User                 11.6 %\n"
            "  System               5.7 %\n"
            "  Low priority         0.0 %\n"
            "  Idle                 82.7 %\n"
            "\n"
            "Memory\n"
            "  Used                 at most 15 GB of 16 GB\n"
            "  Free                 at least 1 GB\n"
            "  Active               at least 0 bytes\n"
            "  Inactive             at least 3.2 GB\n"
            "  Wired                at least 2 GB\n"
            "  Other                at most 9.8 GB\n"
            "\n"
            "Startup Disk\n"
            "  Used                 289.51 GB of 499.96 GB\n"
            "  Free                 210.45 GB\n"
            "\n"
            "Network\n"
            "  Received             –, 5.21 GB since start-up\n"
            "  Sent                 –, 822.69 MB since start-up\n"
            "\n"
            "Battery\n"
            "  Charge               80 %, charging\n"
            "  Voltage              12.45 V\n"
            "  Current              1.82 A\n"
            "  Battery Cycle Count  97 of 1000\n"
            "  Age                  " +
                std::to_string(jsonOf({"usage"})["usage"]["battery"]["ageInDays"].get<int>()) +
                "d\n"
                "\n"
                "  Uptime               1d 2h 3m\n");
}

TEST_F(KelvoraUsage, OfEveryRecordedMacIsKnown) {
  for (const char* machine : kRecordedMachines) {
    const json usage = jsonOf({"usage"}, machine)["usage"];
    EXPECT_TRUE(usage["processor"]["total"].is_number()) << machine;
    EXPECT_EQ(usage["processor"]["sinceStartUp"], true);
    EXPECT_NE(usage["memory"]["accuracy"], "unknown");
    EXPECT_EQ(usage["uptime"], 93784.5);
    EXPECT_EQ(usage["network"]["receivedPerSecond"], nullptr);
    const bool isPortable = std::string(machine).starts_with("MacBook");
    EXPECT_EQ(usage["battery"]["batteryInstalled"], isPortable) << machine;
    EXPECT_EQ(outputOf({"usage"}, machine).find("\nBattery\n") != std::string::npos, isPortable);
  }
}

TEST_F(KelvoraUsage, WithoutANameIsThatOfThisComputerNow) {
  const json report = json::parse(runKelvora({"usage", "--json"}).standardOutput);
  EXPECT_EQ(report["machine"]["live"], true);
  EXPECT_EQ(report["usage"]["processor"]["sinceStartUp"], false);
  EXPECT_TRUE(report["usage"]["network"]["receivedPerSecond"].is_number());
  EXPECT_GT(report["usage"]["uptime"], 0);
  EXPECT_GT(report["usage"]["disk"]["total"], 0);
}

TEST_F(KelvoraUsage, OfAnotherMachineMayComeFromTheEnvironment) {
  setenv("KELVORA_MACHINE", "iMac19,1", 1);
  for (const char* command : {"usage", "top", "network"}) {
    EXPECT_EQ(firstLine(runKelvora({command}).standardOutput), "iMac 27-inch 2019 (recorded)");
  }
  setenv("KELVORA_MACHINE", "iMac99", 1);
  for (const char* command : {"usage", "top", "network"}) {
    expectUsageError({command}, "KELVORA_MACHINE: iMac99");
  }
}

TEST_F(KelvoraUsage, OfNothingIsAFailure) {
  for (const char* command : {"usage", "top", "network"}) {
    const ProgramResult result = runKelvora({command, "--machine", machineWith("")});
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_EQ(firstLine(result.standardOutput), "T (recorded)");
    EXPECT_THAT(result.standardError, ::testing::ContainsRegex("kelvora: T: no .* could be "));
  }
}

TEST_F(KelvoraUsage, WhatIsNotKnownIsNullInJSONAsItIsADashInTheReport) {
  const std::string file = machineWith(
      R"(, "sysctl": {"hw.memsize": {"int64": 17179869184}},
           "statistics": {"uptime": 1, "processorTicks": []})");
  const json usage = jsonOf({"usage"}, file)["usage"];
  for (const char* figure : {"free", "used", "active", "inactive", "wired", "other"}) {
    EXPECT_TRUE(usage["memory"][figure].is_null()) << figure;
  }
  EXPECT_EQ(usage["memory"]["installed"], 17179869184);
  EXPECT_EQ(usage["memory"]["accuracy"], "unknown");
  for (const char* figure : {"total", "free", "used"}) {
    EXPECT_TRUE(usage["disk"][figure].is_null()) << figure;
  }
  EXPECT_TRUE(usage["processor"]["total"].is_null());
  EXPECT_EQ(usage["uptime"], 1);
  const std::string report = outputOf({"usage"}, file);
  EXPECT_THAT(report, HasSubstr("\nMemory\n  Used          –\n  Free          –\n"));
  EXPECT_THAT(report, HasSubstr("\nStartup Disk\n  Used          –\n  Free          –\n"));
  EXPECT_THAT(report, HasSubstr("  Total         –\n"));
  const std::string nothing = machineWith(R"(, "statistics": {"uptime": 1})");
  EXPECT_TRUE(jsonOf({"usage"}, nothing)["usage"]["memory"]["installed"].is_null());
}

TEST_F(KelvoraUsage, FollowsTheLanguageOfTheSettings) {
  ASSERT_EQ(runKelvora({"settings", "set", "currentLanguage", "de"}).status, 0);
  const std::string usage = outputOf({"usage"});
  EXPECT_THAT(usage, HasSubstr("\nProzessor (seit dem Start)\n  Gesamt "));
  EXPECT_THAT(usage, HasSubstr("  höchstens 15 GB von 16 GB\n"));
  EXPECT_THAT(usage, HasSubstr("  80 %, wird geladen\n"));
  EXPECT_THAT(usage, HasSubstr("  –, 5.21 GB seit dem Start\n"));
  EXPECT_THAT(outputOf({"top"}), HasSubstr("Prozess\n"));
  EXPECT_THAT(outputOf({"network"}), HasSubstr("  Lokale Adresse       192.0.2.10\n"));
  for (const char* command : {"usage", "top", "network", "overview", "sensors"}) {
    EXPECT_EQ(firstLine(outputOf({command})), "MacBook Pro 15-inch 2018 (aufgezeichnet)");
  }
  EXPECT_THAT(firstLine(runKelvora({"usage"}).standardOutput), EndsWith(" (live)"));
}

TEST_F(KelvoraUsage, TheFirstLineFollowsTheLanguageAndTheTerminal) {
  ASSERT_EQ(runKelvora({"settings", "set", "currentLanguage", "zh-Hans"}).status, 0);
  EXPECT_EQ(firstLine(runKelvora({"usage"}).standardOutput), "This computer (实时)");
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, {"overview"}, 40).standardOutput,
              StartsWith("MacBook Pro 15-inch 2018 (录制):\n"
                         "此处没有 Apple\n"
                         "硬件，因此显示此录制；--machine\n"
                         "可选择其他录制\n\n"));
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, {"overview"}, 17).standardOutput,
              StartsWith("MacBook Pro\n"
                         "15-inch 2018\n"
                         "(录制): 此处没有\n"
                         "Apple\n"
                         "硬件，因此显示此\n"
                         "录制；--machine\n"));
}

TEST_F(KelvoraUsage, ChangesNothingInTheAccount) {
  outputOf({"usage"});
  outputOf({"top"});
  outputOf({"network"});
  EXPECT_FALSE(std::filesystem::exists(folder_.path("config")));
}

TEST_F(KelvoraUsage, FitsTheTerminalAndHasBarsThere) {
  for (const char* command : {"usage", "top", "network"}) {
    for (const unsigned short columns : std::initializer_list<unsigned short>{40, 60, 80, 120}) {
      const std::string report =
          runInTerminal(KELVORA_PROGRAM, {command, "--machine", "MacBookPro10,1"}, columns)
              .standardOutput;
      expectToFit(report, columns);
      EXPECT_EQ(report.find("█") != std::string::npos, std::string(command) != "network");
    }
  }
  EXPECT_THAT(outputOf({"usage"}), Not(HasSubstr("█")));
  EXPECT_THAT(outputOf({"top"}), Not(HasSubstr("█")));
}

TEST_F(KelvoraUsage, ABarTakesAQuarterOfTheTerminalAndTwentyColumnsAtMost) {
  const auto usage = [](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"usage", "--machine", "MacBookPro15,1"}, columns)
        .standardOutput;
  };
  EXPECT_THAT(usage(48), HasSubstr("  ██░░░░░░░░░░  17.3 %\n"));
  EXPECT_THAT(usage(60), HasSubstr("  ███░░░░░░░░░░░░  17.3 %\n"));
  EXPECT_THAT(usage(120), HasSubstr("  ███░░░░░░░░░░░░░░░░░  17.3 %\n"));
  EXPECT_THAT(
      runInTerminal(KELVORA_PROGRAM, {"top", "--machine", "MacBookPro15,1"}, 120).standardOutput,
      HasSubstr("      412   38.4 %  ████████░░░░░░░░░░░░  Safari\n"));
}

TEST_F(KelvoraUsage, InAsciiTheBarsAreSignsOfIt) {
  const std::string report =
      runInTerminal(KELVORA_PROGRAM, {"usage", "--machine", "MacBookPro15,1"}, 80,
                    {{"LC_ALL", "C"}})
          .standardOutput;
  EXPECT_THAT(report, HasSubstr("  ###.................  17.3 %\n"));
}

TEST_F(KelvoraUsage, AWatchThatIsPipedIsABlockEachTime) {
  ChildProgram watch(KELVORA_PROGRAM,
                     {"usage", "--machine", "MacBookPro15,1", "--watch", "--every", "0.2"});
  std::vector<std::string> headings;
  while (headings.size() < 3) {
    const std::string line = watch.nextLine();
    if (line.starts_with("Processor")) {
      headings.push_back(line);
    }
  }
  watch.signal(SIGTERM);
  EXPECT_EQ(watch.wait(), 0);
  EXPECT_THAT(headings,
              ::testing::ElementsAre("Processor (since start-up)", "Processor", "Processor"));
  EXPECT_EQ(watch.restOfError(), "");
}

TEST_F(KelvoraUsage, AWatchOfARecordedMacKnowsNoLoadAfterTheFirst) {
  ChildProgram watch(KELVORA_PROGRAM, {"usage", "--machine", "MacBookPro15,1", "--watch", "--every",
                                       "0.2", "--json"});
  EXPECT_TRUE(json::parse(watch.nextLine())["usage"]["processor"]["total"].is_number());
  const json second = json::parse(watch.nextLine())["usage"];
  EXPECT_EQ(second["processor"]["total"], nullptr);
  EXPECT_EQ(second["processor"]["sinceStartUp"], false);
  EXPECT_EQ(second["network"]["receivedPerSecond"], 0.0);
  watch.signal(SIGINT);
  EXPECT_EQ(watch.wait(), 0);
}

TEST_F(KelvoraUsage, AWatchOfProcessesListsThemEachTime) {
  ChildProgram watch(KELVORA_PROGRAM, {"top", "-n", "2", "--watch", "--every", "0.2", "--json"});
  for (int i = 0; i < 3; ++i) {
    const json report = json::parse(watch.nextLine());
    EXPECT_EQ(report["machine"]["live"], true);
    EXPECT_EQ(report["processes"].size(), 2U);
  }
  watch.signal(SIGINT);
  EXPECT_EQ(watch.wait(), 0);
}

TEST_F(KelvoraUsage, TheIntervalMayHaveAUnit) {
  for (const char* interval : {"1m", "1h", "3600s"}) {
    const ProgramResult result = runKelvora(
        {"usage", "--watch", "--every", interval, "--machine", folder_.path("no such file")});
    EXPECT_THAT(result.standardError, HasSubstr("no such file")) << "the interval is no fault";
  }
  ChildProgram watch(KELVORA_PROGRAM, {"top", "-n", "1", "--machine", "iMac19,1", "--watch",
                                       "--every", "0.2s", "--json"});
  EXPECT_NE(watch.nextLine(), "");
  EXPECT_NE(watch.nextLine(), "");
  watch.signal(SIGINT);
  EXPECT_EQ(watch.wait(), 0);
}

TEST_F(KelvoraUsage, AWatchWhoseReaderHasGoneEnds) {
  const ProgramResult result = runProgram(
      "/bin/sh", {"-c", std::string("'") + KELVORA_PROGRAM +
                            "' usage --machine iMac19,1 --watch --every 0.2 --json | head -1"});
  EXPECT_EQ(lineCount(result.standardOutput), 1);
}

TEST_F(KelvoraUsage, WrongArgumentsAreRefused) {
  for (const char* command : {"usage", "top"}) {
    expectUsageError({command, "--every", "2"}, "--every needs --watch");
    expectUsageError({command, "--watch", "--every", "0.1"}, "--every takes 0.2 to 3600 seconds");
    expectUsageError({command, "--watch", "--every", "3601"}, "--every takes 0.2 to 3600 seconds");
    expectUsageError({command, "--watch", "--every", "1e999"}, "--every");
    expectUsageError({command, "--watch", "--every", "nan"},
                     "--every: takes a time, e.g. 90, 10m, 2h or 1d");
    expectUsageError({command, "--watch", "--every", "often"}, "--every");
    expectUsageError({command, "now"}, "now");
    expectUsageError({command, "--machine", "iMac99"}, "iMac99");
  }
  for (const char* interval : {"100ms", "2h", "1 minute"}) {
    expectUsageError({"usage", "--watch", "--every", interval}, "--every");
  }
  for (const char* count : {"0", "-1", "1.5", "10001", "nan"}) {
    expectUsageError({"top", "-n", count}, "-n takes a whole number from 1 to 10000");
  }
  expectUsageError({"top", "-n", "many"}, "-n");
  expectUsageError({"network", "--watch"}, "--watch");
}

TEST_F(KelvoraUsage, AWatchOnATerminalNeedsAKeyboard) {
  const ProgramResult result = runProgram(
      "/usr/bin/script",
      {"-qec", std::string("'") + KELVORA_PROGRAM + "' usage --watch </dev/null", "/dev/null"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.standardOutput,
              HasSubstr("kelvora: this needs a terminal; without --watch it is shown once"));
}

TEST_F(KelvoraUsage, OneAddressIsEnoughOfANetwork) {
  const std::string file = machineWith(R"(, "host": {"addresses": ["192.0.2.1"]})");
  EXPECT_EQ(runKelvora({"network", "--machine", file}).status, 0);
}

TEST_F(KelvoraUsage, OneProcessCanBeAskedFor) {
  EXPECT_EQ(jsonOf({"top", "-n", "1"})["processes"].size(), 1U);
}

TEST_F(KelvoraUsage, TheBusiestProcessesHaveTheNamesOfTheirApplications) {
  EXPECT_EQ(outputOf({"top", "-n", "3"}),
            "MacBook Pro 15-inch 2018 (recorded)\n"
            "\n"
            "      PID      CPU  Process\n"
            "      412   38.4 %  Safari\n"
            "      167   12.5 %  WindowServer\n"
            "        0    6.1 %  kernel_task\n");
  const json report = jsonOf({"top", "-n", "2"});
  EXPECT_EQ(
      report["processes"],
      (json{{{"pid", 412}, {"command", "Safari"}, {"name", "Safari"}, {"usage", 38.4}},
            {{"pid", 167}, {"command", "WindowServer"}, {"name", nullptr}, {"usage", 12.5}}}));
  EXPECT_EQ(jsonOf({"top"})["processes"].size(), 7U) << "all that there are, for ten";
}

TEST_F(KelvoraUsage, ANarrowTerminalHasANarrowListWithoutBars) {
  const auto top = [](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"top", "-n", "2", "--machine", "MacBookPro15,1"},
                         columns)
        .standardOutput;
  };
  EXPECT_THAT(top(39), EndsWith("    PID     CPU Process\n"
                                "    412  38.4 % Safari\n"
                                "    167  12.5 % WindowServer\n"));
  EXPECT_THAT(top(20), EndsWith("    PID     CPU Pro…\n"
                                "    412  38.4 % Saf…\n"
                                "    167  12.5 % Win…\n"));
  for (const char* command : {"usage", "top", "network", "overview"}) {
    for (const unsigned short columns : std::initializer_list<unsigned short>{20, 24, 30, 33}) {
      expectToFit(runInTerminal(KELVORA_PROGRAM, {command, "--machine", "MacBookPro10,1"}, columns)
                      .standardOutput,
                  columns);
    }
  }
}

TEST_F(KelvoraUsage, AMachineFileWithoutATitleIsOfAnUnnamedMac) {
  const std::string file = folder_.write(
      "untitled.json", R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64"})");
  const ProgramResult result = runKelvora({"usage", "--machine", file});
  EXPECT_EQ(firstLine(result.standardOutput), "Unnamed Mac (recorded)");
  EXPECT_THAT(result.standardError, HasSubstr("kelvora: Unnamed Mac: no usage"));
}

TEST_F(KelvoraUsage, AProcessCannotControlTheTerminal) {
  const std::string file = machineWith(R"(, "commands": [{"path": "/bin/ps",
      "arguments": ["-Aceo pid,pcpu,comm", "-r"], "stdout": "PID\n7 2.0 a\u001b[31mb\n"}])");
  EXPECT_THAT(outputOf({"top"}, file), EndsWith("        7    2.0 %  a?[31mb\n"));
}

TEST_F(KelvoraUsage, ALongNameIsCutWhereTheTerminalEnds) {
  const std::string file = machineWith(R"(, "commands": [{"path": "/bin/ps",
      "arguments": ["-Aceo pid,pcpu,comm", "-r"],
      "stdout": "PID\n1 250.0 a-process-with-a-name-that-is-longer-than-the-terminal\n"}])");
  const std::string report =
      runInTerminal(KELVORA_PROGRAM, {"top", "--machine", file}, 40).standardOutput;
  EXPECT_THAT(report, EndsWith("        1  250.0 %  ██████████  a-proce…\n"));
}

TEST_F(KelvoraUsage, OnANarrowTerminalALongNameContinuesInTheNextLine) {
  const auto network = [](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"network", "--machine", "iMac19,1"}, columns)
        .standardOutput;
  };
  EXPECT_THAT(network(27), EndsWith("  Host name\n    imac-27-inch-2019.local\n"));
  EXPECT_THAT(network(26), EndsWith("  Host name\n    imac-27-inch-2019.loca\n    l\n"));
  EXPECT_THAT(network(5), EndsWith("\n    i\n    m\n    a\n    c\n    -\n    2\n    7\n    -\n"
                                   "    i\n    n\n    c\n    h\n    -\n    2\n    0\n    1\n"
                                   "    9\n    .\n    l\n    o\n    c\n    a\n    l\n"));
}

TEST_F(KelvoraUsage, ARecordedMacHasNoPublicAddress) {
  EXPECT_EQ(outputOf({"network"}, "iMac19,1"),
            "iMac 27-inch 2019 (recorded)\n"
            "\n"
            "  Local address   192.0.2.10\n"
            "  Public address  –\n"
            "  Host name       imac-27-inch-2019.local\n");
  EXPECT_EQ(jsonOf({"network"}, "iMac19,1")["network"],
            (json{{"ipAddress", "192.0.2.10"},
                  {"publicIpAddress", nullptr},
                  {"hostName", "imac-27-inch-2019.local"}}));
}

}  // namespace
}  // namespace kelvora::testing
