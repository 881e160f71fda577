#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// A machine file of a test's own.
class MachineText {
 public:
  explicit MachineText(const std::string& text, const std::string& name = "machine.json")
      : path(folder_.write(name, text)) {}

 private:
  TemporaryFolder folder_;

 public:
  const std::string path;
};

std::string machineWithKeys(const std::string& keys) {
  return R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64", "title": "T",
             "sysctl": {"machdep.cpu.brand_string": "Intel"}, "smc": {"keys": [)" +
         keys + "]}}";
}

void expectUsageError(const ProgramResult& result, const std::string& fault) {
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(lineCount(result.standardError), 1) << result.standardError;
  EXPECT_THAT(result.standardError, StartsWith("kelvora: "));
  EXPECT_THAT(result.standardError, HasSubstr(fault));
}

TEST(Kelvora, HelpOfTheProgramAndOfEveryCommandShowsAnExample) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--help"},
                                             {"sensors", "--help"},
                                             {"fans", "hold", "--help"},
                                             {"keys", "-h"},
                                             {"inventory", "--help"},
                                             {"overview", "--help"},
                                             {"usage", "--help"},
                                             {"top", "--help"},
                                             {"network", "--help"},
                                             {"machines", "--help"}}) {
    const ProgramResult result = runKelvora(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.standardOutput, HasSubstr("\n\nExample:\n  kelvora ")) << arguments.front();
    EXPECT_THAT(result.standardOutput, Not(HasSubstr("\n\n\n"))) << arguments.front();
    EXPECT_EQ(result.standardError, "");
  }
}

TEST(Kelvora, HelpFitsTheTerminal) {
  const ProgramResult result = runInTerminal(KELVORA_PROGRAM, {"sensors", "--help"}, 64);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.standardOutput,
              HasSubstr("\n  --group NAME                Only those of one kind: cpu, gpu,\n"
                        "                              memory, mainboard, airflow,\n"));
  EXPECT_THAT(result.standardOutput,
              HasSubstr("  kelvora sensors --group gpu --type temperature\n"));
  std::istringstream lines(result.standardOutput);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_LE(line.size(), 64U) << line;
  }
  EXPECT_THAT(runKelvora({"sensors", "--help"}).standardOutput,
              HasSubstr("display, fan or unknown\n"));
}

TEST(Kelvora, WrongUsageIsOneLineAndStatusTwo) {
  expectUsageError(runKelvora({}), "a command is needed");
  expectUsageError(runKelvora({"sensor"}), "sensor");
  expectUsageError(runKelvora({"keys", "sensors"}), "sensors");
  expectUsageError(runKelvora({"sensors", "--jason"}), "--jason");
  expectUsageError(runKelvora({"sensors", "--machine"}), "--machine");
  expectUsageError(runKelvora({"sensors", "--machine", ""}), "--machine");
  expectUsageError(runKelvora({"machines", "--machine", "iMac19,1"}), "--machine");
}

TEST(Kelvora, WrongUsagePointsAtTheHelpOfTheCommandThatWasNamed) {
  expectUsageError(runKelvora({"sensor"}), "(see kelvora --help)");
  expectUsageError(runKelvora({"sensors", "--jason"}), "(see kelvora sensors --help)");
  expectUsageError(runKelvora({"settings", "frob"}), "(see kelvora settings --help)");
  expectUsageError(runKelvora({"settings", "set", "tempUnitCelsius"}),
                   "(see kelvora settings set --help)");
}

TEST(Kelvora, AWordThatIsNotACommandIsAnsweredWithTheNearestOne) {
  expectUsageError(runKelvora({"sensrs"}), "sensrs: no such command; did you mean sensors? (see");
  expectUsageError(runKelvora({"esnsors"}), "did you mean sensors?");
  expectUsageError(runKelvora({"docto"}), "did you mean doctor?");
  expectUsageError(runKelvora({"settings", "ste"}),
                   "did you mean set? (see kelvora settings --help)");
  expectUsageError(runKelvora({"settings", "wathc", "--json"}), "did you mean watch?");
  expectUsageError(runKelvora({"frobnicate"}), "frobnicate: no such command (see kelvora --help)");
  expectUsageError(runKelvora({""}), ": no such command (see kelvora --help)");
}

TEST(Kelvora, TheMachineMayBeNamedBeforeTheCommand) {
  const std::string after = runKelvora({"sensors", "--machine", "iMac19,1"}).standardOutput;
  EXPECT_EQ(runKelvora({"--machine", "iMac19,1", "sensors"}).standardOutput, after);
  expectUsageError(runKelvora({"--machine", "iMac19,1", "machines"}),
                   "machines takes no --machine");
  expectUsageError(runKelvora({"--machine", "iMac19,1", "settings", "get", "mainSensor"}),
                   "get takes no --machine");
  expectUsageError(runKelvora({"--machine", "iMac19,1", "keys", "--machine", "Macmini8,1"}),
                   "--machine is given twice");
  expectUsageError(runKelvora({"--machine", "", "sensors"}), "needs a file or a name");
  expectUsageError(runKelvora({"--machine", "iMac19,1"}), "a command is needed");
}

TEST(Kelvora, TheCaseOfAMachinesNameDoesNotMatter) {
  EXPECT_EQ(firstLine(runKelvora({"sensors", "--machine", "IMAC19,1"}).standardOutput),
            "iMac 27-inch 2019 (recorded)");
}

class MachineOfTheEnvironment : public ::testing::Test {
 protected:
  static ProgramResult run(const std::vector<std::string>& arguments, const std::string& machine) {
    return runKelvora(arguments, {{"KELVORA_MACHINE", machine}});
  }
};

TEST_F(MachineOfTheEnvironment, IsTheOneThatIsShown) {
  for (const char* command : {"sensors", "keys", "inventory", "overview"}) {
    EXPECT_EQ(firstLine(run({command}, "iMac19,1").standardOutput), "iMac 27-inch 2019 (recorded)");
  }
  EXPECT_EQ(firstLine(run({"sensors"}, "").standardOutput),
            firstLine(runKelvora({"sensors"}).standardOutput));
}

TEST_F(MachineOfTheEnvironment, GivesWayToTheOption) {
  for (const char* other : {"Macmini9,1", "nothing"}) {
    EXPECT_EQ(firstLine(run({"sensors", "--machine", "iMac19,1"}, other).standardOutput),
              "iMac 27-inch 2019 (recorded)");
  }
}

TEST_F(MachineOfTheEnvironment, IsRefusedWhenItIsBadByEveryCommandThatUsesIt) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"sensors"},
                                             {"keys", "--json"},
                                             {"inventory"},
                                             {"doctor"},
                                             {"settings"},
                                             {"settings", "get", "updateFrequency"}}) {
    expectUsageError(run(arguments, "iMac99"),
                     "KELVORA_MACHINE: iMac99: neither a file nor a recorded Mac");
  }
  EXPECT_EQ(run({"machines"}, "iMac99").status, 0) << "it lists what there is";
}

TEST(Kelvora, AnUnknownMachineIsNamed) {
  expectUsageError(runKelvora({"sensors", "--machine", "MacPro3,1"}), "MacPro3,1");
}

TEST(Kelvora, ABadMachineFileIsRefusedWithFilePlaceAndFault) {
  const MachineText bad(machineWithKeys(R"({"key": "TC0P", "type": "sp78", "bytes": "zz"})"));
  for (const char* command : {"sensors", "keys", "inventory"}) {
    const ProgramResult result = runKelvora({command, "--machine", bad.path});
    expectUsageError(result, bad.path);
    EXPECT_THAT(result.standardError, HasSubstr("/smc/keys/0/bytes"));
    EXPECT_THAT(result.standardError, HasSubstr("zz"));
  }
  expectUsageError(runKelvora({"sensors", "--machine", "/"}), "/");
}

TEST(Kelvora, WithoutAppleHardwareTheStandInIsNamedInTheFirstLine) {
  const ProgramResult result = runKelvora({"sensors"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(firstLine(result.standardOutput),
              StartsWith("MacBook Pro 15-inch 2018 (recorded): no Apple hardware"));
}

TEST(Kelvora, AChosenMachineIsTitledAndCalledRecorded) {
  const ProgramResult result = runKelvora({"sensors", "--machine", "iMac19,1"});
  EXPECT_EQ(firstLine(result.standardOutput), "iMac 27-inch 2019 (recorded)");
}

TEST(Kelvora, AMachineIsAlsoTakenByItsFile) {
  const ProgramResult byName = runKelvora({"sensors", "--machine", "iMac19,1"});
  const ProgramResult byFile =
      runKelvora({"sensors", "--machine", KELVORA_MACHINES "/iMac19,1.json"});
  EXPECT_EQ(byFile.status, 0);
  EXPECT_EQ(byFile.standardOutput, byName.standardOutput);
}

TEST(Kelvora, NothingReadIsStatusOneAndTheReportStaysValid) {
  const MachineText empty(
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "Bare"})");
  const ProgramResult sensors = runKelvora({"sensors", "--machine", empty.path, "--json"});
  EXPECT_EQ(sensors.status, 1);
  EXPECT_EQ(json::parse(sensors.standardOutput)["sensors"], json::array());
  EXPECT_THAT(sensors.standardError, EndsWith("kelvora: Bare: no sensor could be read\n"));

  const ProgramResult keys = runKelvora({"keys", "--machine", empty.path, "--json"});
  EXPECT_EQ(keys.status, 1);
  EXPECT_EQ(json::parse(keys.standardOutput)["keys"], json::array());

  const ProgramResult inventory = runKelvora({"inventory", "--machine", empty.path, "--json"});
  EXPECT_EQ(inventory.status, 1);
  EXPECT_TRUE(json::parse(inventory.standardOutput)["inventory"]["diskInfo"].is_null());
}

TEST(Kelvora, TheInventoryCountsEachKindOfCoreByItself) {
  const MachineText machine(
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "T",
          "sysctl": {"machdep.cpu.brand_string": "Apple M1 Pro"},
          "registry": [{"class": "AppleARMPE", "name": "device-tree", "properties": {}, "children": [
            {"name": "cpus", "properties": {"e-core-count": {"data": "02000000"},
                                            "p-core-count": {"data": "08000000"}}}]}]})");
  const ProgramResult result = runKelvora({"inventory", "--machine", machine.path, "--json"});
  const json cpu = json::parse(result.standardOutput)["inventory"]["cpuInfo"];
  EXPECT_EQ(cpu["eCoreCount"], 2);
  EXPECT_EQ(cpu["pCoreCount"], 8);
  EXPECT_EQ(cpu["coreList"], json::array());
}

TEST(Kelvora, AListThatTheMachineDoesNotReportIsNotAnEmptyList) {
  const MachineText machine(
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "T",
          "sysctl": {"machdep.cpu.brand_string": "Apple M1 Pro"}})");
  const ProgramResult result = runKelvora({"inventory", "--machine", machine.path, "--json"});
  const json inventory = json::parse(result.standardOutput)["inventory"];
  EXPECT_TRUE(inventory["cpuInfo"]["coreList"].is_null());
  EXPECT_TRUE(inventory["gpuInfos"].is_null());
}

TEST(Kelvora, EveryGroupOfSensorsHasItsHeadingInItsOrder) {
  std::string keys = R"({"key": "#KEY", "type": "ui32", "bytes": "0000000f"},
                        {"key": "FNum", "type": "ui8 ", "bytes": "01"})";
  for (const char* key :
       {"TXXX", "TL0P", "Tp1P", "TB1T", "TH0P", "TH1A", "TW0P", "Tm0P", "TM0P", "TG0D", "TC0P"}) {
    keys += std::string(R"(, {"key": ")") + key + R"(", "type": "sp78", "bytes": "2800"})";
  }
  for (const char* key : {"F0Ac", "F0Mn", "F0Mx"}) {
    keys += std::string(R"(, {"key": ")") + key + R"(", "type": "fpe2", "bytes": "1f40"})";
  }
  const MachineText machine(machineWithKeys(keys));
  const std::string report = runKelvora({"sensors", "--machine", machine.path}).standardOutput;
  std::size_t place = 0;
  for (const char* heading :
       {"CPU", "GPU", "Memory", "Mainboard and chipset", "Airflow and wireless", "Storage",
        "Drive bays", "Battery", "Power supply and power management", "Display", "Fans",
        "Unknown sensors"}) {
    const std::size_t found = report.find(std::string("\n\n") + heading + "\n", place);
    ASSERT_NE(found, std::string::npos) << heading << " in" << report;
    place = found + 1;
  }
}

TEST(Kelvora, MessagesOfTheSMCLayerNeverMixWithTheReport) {
  const ProgramResult result = runKelvora({"keys", "--machine", "Macmini9,1", "--json"});
  EXPECT_TRUE(json::accept(result.standardOutput)) << result.standardOutput;
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardError, "kelvora: Mac mini M1 2020: no SMC in this recording\n");
}

TEST(Kelvora, AReportThatCannotBeWrittenIsStatusOne) {
  const ProgramResult result = runProgram(
      "/bin/sh", {"-c", "exec \"$0\" sensors --machine iMac19,1 >/dev/full", KELVORA_PROGRAM});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardError, EndsWith("kelvora: the report could not be written\n"));
}

TEST(Kelvora, ColourOnlyOnATerminalAndNeverWithNoColor) {
  const std::vector<std::string> arguments = {"sensors", "--machine", "iMac19,1"};
  EXPECT_THAT(runKelvora(arguments).standardOutput, Not(HasSubstr("\x1b")));
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, arguments, 100).standardOutput, HasSubstr("\x1b["));
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, arguments, 100, {{"NO_COLOR", "1"}}).standardOutput,
              Not(HasSubstr("\x1b")));
}

TEST(Kelvora, OnANarrowTerminalKeysGetLinesOfTheirOwnBeforeNamesGiveWay) {
  const auto reading = [](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"sensors", "--machine", "Macmini9,1"}, columns,
                         {{"NO_COLOR", "1"}})
        .standardOutput;
  };
  EXPECT_THAT(reading(80), HasSubstr("\n  CPU Performance Core 1 Temperature        20°C"
                                     "  pACC MTR Temp Sensor2\n"));
  EXPECT_THAT(reading(80), HasSubstr("21°C  AverageCPU  computed\n"));
  EXPECT_THAT(reading(71), HasSubstr("\n  CPU Performance Core 1 Temperature        20°C"
                                     "  pACC MTR Temp Sensor2\n"));
  EXPECT_THAT(reading(70), HasSubstr("\n  CPU Performance Core 1 Temperature        20°C"
                                     "\n    pACC MTR Temp Sensor2\n"));
  EXPECT_THAT(reading(70), HasSubstr("21°C  AverageCPU  computed\n"));
  EXPECT_THAT(reading(60), HasSubstr("21°C\n    AverageCPU  computed\n"));
  EXPECT_THAT(reading(60), Not(HasSubstr("…")));
  EXPECT_THAT(reading(40), HasSubstr("\n  CPU Performance Core 1 Tempera…   20°C\n"));
  EXPECT_THAT(reading(10), HasSubstr("\n  CPU Perform…   20°C\n")) << "names keep twelve columns";
}

TEST(Kelvora, OnANarrowTerminalRemarksAreBesideTheirKeysBeforeTheyGoBelow) {
  const auto reading = [](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"sensors", "--machine", "MacBookPro15,1"}, columns,
                         {{"NO_COLOR", "1"}})
        .standardOutput;
  };
  EXPECT_THAT(reading(120), HasSubstr("2162rpm  0           2160rpm to 5927rpm\n"));
  EXPECT_THAT(reading(80), HasSubstr("2162rpm  0  2160rpm to 5927rpm\n"));
  EXPECT_THAT(reading(60), HasSubstr("2162rpm\n    0  2160rpm to 5927rpm\n"));
}

TEST(Kelvora, OnANarrowTerminalTheFirstLineIsBrokenAtItsBlanks) {
  for (const char* command : {"sensors", "keys", "inventory"}) {
    EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, {command}, 40).standardOutput,
                StartsWith("MacBook Pro 15-inch 2018 (recorded): no\n"
                           "Apple hardware here, so this recording\n"
                           "is shown; --machine takes another\n\n"))
        << command;
  }
}

TEST(Kelvora, TextsOfTheMachineCannotControlTheTerminal) {
  const MachineText hostile(machineWithKeys(
      R"({"key": "#KEY", "type": "ui32", "bytes": "00000004"},
         {"key": "FNum", "type": "ui8 ", "bytes": "01"},
         {"key": "F0ID", "type": "{fds", "bytes": "419b33316d7f42"},
         {"key": "T\u001b[2", "type": "sp78", "bytes": "2520"})"));
  const ProgramResult text = runKelvora({"sensors", "--machine", hostile.path});
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.standardOutput, Not(HasSubstr("\x1b")));
  EXPECT_THAT(text.standardOutput, Not(HasSubstr("\xc2\x9b")));
  EXPECT_THAT(text.standardOutput, HasSubstr("A?31m?B"));
  const ProgramResult report = runKelvora({"sensors", "--machine", hostile.path, "--json"});
  ASSERT_TRUE(json::accept(report.standardOutput));
  EXPECT_EQ(json::parse(report.standardOutput)["sensors"][0]["name"],
            "A\xc2\x9b"
            "31m\x7f"
            "B");
}

TEST(Kelvora, ValuesThatAreNotNumbersAreNull) {
  const MachineText hostile(machineWithKeys(
      R"({"key": "#KEY", "type": "ui32", "bytes": "00000003"},
         {"key": "TCnn", "type": "flt ", "bytes": "0000c07f"},
         {"key": "PCin", "type": "flt ", "bytes": "0000807f"})"));
  const ProgramResult result = runKelvora({"sensors", "--machine", hostile.path, "--json"});
  const json report = json::parse(result.standardOutput);
  ASSERT_EQ(report["sensors"].size(), 2U);
  EXPECT_TRUE(report["sensors"][0]["value"].is_null());
  EXPECT_TRUE(report["sensors"][1]["value"].is_null());
  const json keys =
      json::parse(runKelvora({"keys", "--machine", hostile.path, "--json"}).standardOutput);
  EXPECT_TRUE(keys["keys"][1]["value"].is_null());
}

TEST(Kelvora, AHundredsOfFansMachineShowsTwenty) {
  const MachineText hostile(machineWithKeys(R"({"key": "FNum", "type": "ui8 ", "bytes": "ff"})"));
  const json report =
      json::parse(runKelvora({"sensors", "--machine", hostile.path, "--json"}).standardOutput);
  EXPECT_EQ(std::ranges::count_if(report["sensors"],
                                  [](const json& sensor) { return sensor["sourceType"] == 0; }),
            20);
}

TEST(Kelvora, AnSMCThatClaimsBillionsOfKeysStillEnds) {
  const MachineText hostile(machineWithKeys(
      R"({"key": "#KEY", "type": "ui32", "bytes": "ffffffff"},
         {"key": "TC0P", "type": "sp78", "bytes": "2520"})"));
  const json report =
      json::parse(runKelvora({"sensors", "--machine", hostile.path, "--json"}).standardOutput);
  EXPECT_EQ(report["sensors"].size(), 1U);
  const json keys =
      json::parse(runKelvora({"keys", "--machine", hostile.path, "--json"}).standardOutput);
  EXPECT_EQ(keys["keys"].size(), 2U);
  EXPECT_EQ(keys["count"], 4294967295U);
  EXPECT_EQ(keys["unreadable"], 4294967293U);
}

// The program in a shell that closes or replaces some of its descriptors: "$0" is kelvora.
ProgramResult inShell(const std::string& script) {
  return runProgram("/bin/sh", {"-c", script, KELVORA_PROGRAM});
}

TEST(Kelvora, AFaultIsOneHarmlessLineWhateverItsNamesHold) {
  const std::string name = "a\n\x1b[31mb\xff\xe2\x80\xae";
  expectUsageError(runKelvora({"sensors", "--machine", name}), "a??[31mb\ufffd?: neither a file");
  expectUsageError(runKelvora({name}), "a??[31mb");
  const MachineText misnamed("{", "new\nline.json");
  expectUsageError(runKelvora({"keys", "--machine", misnamed.path}), "new?line.json: line 1");
  const MachineText titled(
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64",
          "title": "evil\n\u001b[31m\u0085"})");
  for (const char* command : {"sensors", "keys", "inventory"}) {
    const ProgramResult result = runKelvora({command, "--machine", titled.path});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.standardError, HasSubstr("kelvora: evil??[31m?: no"));
  }
}

TEST(Kelvora, ANamedPipeWithoutAWriterNeverBlocks) {
  const MachineText machine("");
  const std::string pipe = machine.path + ".pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  expectUsageError(runKelvora({"sensors", "--machine", pipe}), pipe + ": line 1, column 1: is not");
}

TEST(Kelvora, AMachineMayComeThroughAPipe) {
  const MachineText machine(machineWithKeys(R"({"key": "FNum", "type": "ui8 ", "bytes": "01"})"));
  const ProgramResult result =
      inShell("{ sleep 0.1; cat '" + machine.path + "'; } | \"$0\" keys --machine /dev/stdin");
  EXPECT_THAT(result.standardOutput, StartsWith("T (recorded)\n"));
}

TEST(Kelvora, HelpThatCannotBeWrittenIsStatusOne) {
  for (const char* words : {"--help", "--version", "sensors --help"}) {
    for (const char* output : {">/dev/full", ">&-"}) {
      const ProgramResult result = inShell(std::string("\"$0\" ") + words + " " + output);
      EXPECT_EQ(result.status, 1) << words << output;
      EXPECT_EQ(result.standardError, "kelvora: the help could not be written\n");
    }
  }
}

TEST(Kelvora, AReportStaysWholeWhateverDescriptorsAreClosed) {
  const MachineText silent(
      R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64", "title": "T"})");
  for (const char* closed : {"2>&-", "<&- 2>&-", "<&-"}) {
    const ProgramResult result =
        inShell("\"$0\" sensors --json --machine '" + silent.path + "' " + closed);
    EXPECT_EQ(result.status, 1) << closed;
    EXPECT_TRUE(json::accept(result.standardOutput)) << closed << result.standardOutput;
  }
  for (const char* closed : {">&-", "<&- >&-", "<&- >&- 2>&-"}) {
    EXPECT_EQ(inShell(std::string("\"$0\" sensors --machine iMac19,1 ") + closed).status, 1)
        << closed;
  }
}

TEST(Kelvora, AReportIsWrittenWholeToAPipeThatDoesNotWait) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  constexpr int kInherited = 9;
  ASSERT_EQ(dup2(ends[1], kInherited), kInherited);
  fcntl(kInherited, F_SETFL, O_NONBLOCK);
  fcntl(kInherited, F_SETPIPE_SZ, 4096);
  close(ends[1]);
  std::string report;
  std::thread reader([&] {
    char buffer[1000];
    for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
      report.append(buffer, static_cast<std::size_t>(count));
    }
  });
  const ProgramResult result = inShell("exec \"$0\" keys --machine iMac19,1 --json >&9");
  close(kInherited);
  reader.join();
  close(ends[0]);
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_TRUE(json::accept(report));
}

}  // namespace
}  // namespace kelvora::testing
