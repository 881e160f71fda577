// The recorded Mac that an account has chosen.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tests/support/HomeFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char kChoice[] = "data/Kelvora/Machine.json";

class KelvoraMachine : public ::testing::Test {
 protected:
  static std::string titleOfReading(const std::vector<std::string>& more = {},
                                    const Environment& environment = {}) {
    std::vector<std::string> arguments = {"sensors"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return firstLine(runKelvora(arguments, environment).standardOutput);
  }
  static void expectNone() {
    const ProgramResult result = runKelvora({"machine"});
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, "no recorded Mac is chosen\n");
  }
  std::string file() const { return home_.path(kChoice); }

  HomeFolder home_;
};

TEST_F(KelvoraMachine, IsChosenByItsNameInAnyCaseAndShown) {
  expectNone();
  EXPECT_FALSE(std::filesystem::exists(home_.path("data"))) << "looking changes nothing";
  const std::string shown = "iMac 27-inch 2019 (iMac19,1)\nchosen in " + file() + "\n";
  const ProgramResult chosen = runKelvora({"machine", "use", "imac19,1"});
  EXPECT_EQ(chosen.status, 0) << chosen.standardError;
  EXPECT_EQ(chosen.standardOutput, shown);
  const std::string before = home_.read(kChoice);
  EXPECT_EQ(runKelvora({"machine"}).standardOutput, shown);
  EXPECT_EQ(home_.read(kChoice), before);
  EXPECT_EQ(runKelvora({"machine", "none"}).standardOutput, "no recorded Mac is chosen\n");
  expectNone();
  EXPECT_EQ(runKelvora({"machine", "none"}).status, 0) << "none again";
}

TEST_F(KelvoraMachine, IsReadByEveryCommandAfterTheNamedOnesAndBeforeTheStandIn) {
  EXPECT_THAT(titleOfReading(), StartsWith("MacBook Pro 15-inch 2018 (recorded): no Apple"));
  ASSERT_EQ(runKelvora({"machine", "use", "Macmini8,1"}).status, 0);
  EXPECT_EQ(titleOfReading(), "Mac mini 2018 (recorded)");
  EXPECT_EQ(titleOfReading({}, {{"KELVORA_MACHINE", "iMac19,1"}}), "iMac 27-inch 2019 (recorded)");
  EXPECT_EQ(titleOfReading({"--machine", "MacBookPro10,1"}, {{"KELVORA_MACHINE", "iMac19,1"}}),
            firstLine(runKelvora({"sensors", "--machine", "MacBookPro10,1"}).standardOutput));
  for (const char* command : {"usage", "inventory", "keys", "top"}) {
    EXPECT_EQ(firstLine(runKelvora({command}).standardOutput), "Mac mini 2018 (recorded)")
        << command;
  }
  const json report = json::parse(runKelvora({"sensors", "--json"}).standardOutput);
  EXPECT_EQ(report["machine"]["live"], false);
}

TEST_F(KelvoraMachine, IsACopyThatOutlivesItsFile) {
  const std::string mine = home_.write("mine.json", R"({"format": "kelvora-machine", "version": 1,
                                   "architecture": "arm64", "title": "A Mac of mine"})");
  ASSERT_EQ(runKelvora({"machine", "use", mine}).status, 0);
  std::filesystem::remove(mine);
  EXPECT_EQ(runKelvora({"machine"}).standardOutput,
            "A Mac of mine (" + mine + ")\nchosen in " + file() + "\n");
}

TEST_F(KelvoraMachine, ABadMachineIsWrongUsageAndLeavesTheChoice) {
  ASSERT_EQ(runKelvora({"machine", "use", "Macmini8,1"}).status, 0);
  const std::string before = home_.read(kChoice);
  const std::string bad = home_.write("bad.json", "{\n oops");
  for (const auto& [machine, fault] :
       {std::pair<std::string, std::string>{"iMac99,9", "neither a file nor a recorded Mac"},
        {bad, "line 2, column 2: is not JSON"},
        {"/", "cannot be read: Is a directory"}}) {
    const ProgramResult result = runKelvora({"machine", "use", machine});
    EXPECT_EQ(result.status, 2) << machine;
    EXPECT_THAT(result.standardError, StartsWith("kelvora: " + machine + ": "));
    EXPECT_THAT(result.standardError, HasSubstr(fault));
    EXPECT_EQ(lineCount(result.standardError), 1);
  }
  EXPECT_EQ(home_.read(kChoice), before);
  EXPECT_EQ(runKelvora({"machine", "use"}).status, 2);
  EXPECT_EQ(runKelvora({"machine", "--machine", "iMac19,1"}).status, 2);
}

TEST_F(KelvoraMachine, ADamagedChoiceIsOneLineLosesNothingAndCanBeGivenUp) {
  for (
      const char* content :
      {"", "oops", "[]", R"({"format": "kelvora-machine", "version": 1})",
       R"({"format": "kelvora-choice", "version": 1, "name": "m", "writes": []})",
       R"({"format": "kelvora-choice", "version": 2, "name": "m", "machine": {}, "writes": []})"}) {
    home_.write(kChoice, content);
    chmod(file().c_str(), 0600);
    for (const char* command : {"machine", "sensors", "usage", "keys"}) {
      const ProgramResult result = runKelvora({command});
      EXPECT_EQ(result.status, 2) << command << content;
      EXPECT_THAT(result.standardError, StartsWith("kelvora: " + file() + ": ")) << content;
      EXPECT_EQ(lineCount(result.standardError), 1) << result.standardError;
    }
    const ProgramResult settings = runKelvora({"settings"});
    EXPECT_EQ(settings.status, 0) << "a command that reads no machine";
    EXPECT_EQ(home_.read(kChoice), content);
    EXPECT_EQ(runKelvora({"machine", "none"}).status, 0) << content;
    expectNone();
  }
}

TEST_F(KelvoraMachine, AChoiceThatCannotBeStoredIsBrokenNotUsage) {
  home_.write("data", "a file in place of the folder");
  const ProgramResult result = runKelvora({"machine", "use", "iMac19,1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardError,
            "kelvora: " + file() + ": its folder cannot be created: Not a directory\n");
}

TEST_F(KelvoraMachine, TheDoctorNamesTheChoiceAndChecksTheRestOfABrokenOne) {
  const auto finding = [] {
    const json report = json::parse(runKelvora({"doctor", "--json"}).standardOutput);
    for (const json& check : report["checks"]) {
      if (check["name"] == "recorded Mac") {
        return check["state"].get<std::string>() + " " + check["finding"].get<std::string>();
      }
    }
    return std::string();
  };
  EXPECT_EQ(finding(), "ok none chosen");
  runKelvora({"machine", "use", "iMac19,1"});
  EXPECT_EQ(finding(), "ok iMac19,1, chosen in " + file());
  chmod(file().c_str(), 0666);
  EXPECT_EQ(finding(), "broken " + file() + ": can be written by other accounts");
  EXPECT_EQ(runKelvora({"doctor", "--machine", "nothing"}).status, 2);
}

}  // namespace
}  // namespace kelvora::testing
