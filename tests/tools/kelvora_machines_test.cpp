// The commands on every recorded Mac, against what they printed when a person last looked.

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/RecordedMachines.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using Json = nlohmann::ordered_json;

std::string expectation(const std::string& file) {
  std::ifstream stream(std::string(KELVORA_TEST_DATA "/machines/") + file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void expectAsKept(const std::string& file, const std::string& actual) {
  if (std::getenv("KELVORA_REWRITE_EXPECTATIONS") != nullptr) {
    std::ofstream(std::string(KELVORA_TEST_DATA "/machines/") + file, std::ios::binary) << actual;
    FAIL() << file << " was written again: read it, then run without the switch";
  }
  EXPECT_EQ(actual, expectation(file)) << "in " << file;
}

// The same at any time.
std::string withoutTime(const std::string& report) {
  return std::regex_replace(report, std::regex("\"time\": \"[^\"]*\""), "\"time\": \"now\"");
}

class ExpectedReports : public ::testing::TestWithParam<const char*> {
 protected:
  std::string report(const char* command, bool asJson) {
    std::vector<std::string> arguments = {command, "--machine", GetParam()};
    if (asJson) {
      arguments.emplace_back("--json");
    }
    const ProgramResult result = runKelvora(arguments);
    const bool hasNoSMC = std::string(GetParam()) == "Macmini9,1" && std::string(command) == "keys";
    EXPECT_EQ(result.status, hasNoSMC ? 1 : 0) << result.standardError;
    return result.standardOutput;
  }
};

TEST_P(ExpectedReports, SensorsAsText) {
  expectAsKept(std::string(GetParam()) + ".sensors.txt", report("sensors", false));
}

TEST_P(ExpectedReports, InventoryAsText) {
  expectAsKept(std::string(GetParam()) + ".inventory.txt", report("inventory", false));
}

TEST_P(ExpectedReports, InventoryAsJSON) {
  expectAsKept(std::string(GetParam()) + ".inventory.json", withoutTime(report("inventory", true)));
}

// The library's own report of the same machine is kept beside: the program adds the unit and the
// mark of a repeated record.
TEST_P(ExpectedReports, SensorsAsJSONAreTheReadingRecordByRecord) {
  Json report = Json::parse(this->report("sensors", true));
  const Json kept = Json::parse(expectation(std::string(GetParam()) + ".sensors.json"));
  for (Json& sensor : report["sensors"]) {
    sensor.erase("unit");
    EXPECT_EQ(sensor["isRepeated"], false) << sensor;
    sensor.erase("isRepeated");
  }
  EXPECT_EQ(report["sensors"], kept["sensors"]);
  EXPECT_EQ(report["failures"], kept["failures"]);
  EXPECT_EQ(report["machine"]["live"], false);
  for (const Json& sensor : report["sensors"]) {
    std::string members;
    for (const auto& member : sensor.items()) {
      members += member.key() + " ";
    }
    ASSERT_EQ(members,
              "key name fullName value minLimitValue maxLimitValue type group platform sourceType "
              "average ");
  }
}

// The keys are the recording, read back through the SMC's own calls.
TEST_P(ExpectedReports, KeysAsJSONAreTheRecordedKeys) {
  const Json report = Json::parse(this->report("keys", true));
  const Json machine = Json::parse(
      std::ifstream(std::string(KELVORA_MACHINES "/") + std::string(GetParam()) + ".json"));
  const Json recorded = machine.contains("smc") ? machine["smc"]["keys"] : Json::array();
  ASSERT_EQ(report["keys"].size(), recorded.size());
  for (std::size_t i = 0; i < recorded.size(); ++i) {
    EXPECT_EQ(report["keys"][i]["index"], i);
    EXPECT_EQ(report["keys"][i]["key"], recorded[i]["key"]);
    EXPECT_EQ(report["keys"][i]["attributes"], recorded[i]["attributes"]);
    EXPECT_EQ(report["keys"][i]["bytes"], recorded[i]["bytes"]);
    EXPECT_EQ(report["keys"][i]["type"].get<std::string>().substr(0, 3),
              recorded[i]["type"].get<std::string>().substr(0, 3));
    EXPECT_EQ(report["keys"][i]["size"].get<std::size_t>(),
              recorded[i]["bytes"].get<std::string>().size() / 2);
  }
}

TEST_P(ExpectedReports, KeysAsTextHaveALineForEachKey) {
  const std::string text = report("keys", false);
  const Json report = Json::parse(this->report("keys", true));
  for (const Json& key : report["keys"]) {
    EXPECT_THAT(text, ::testing::HasSubstr(key["bytes"].get<std::string>() + "\n"));
  }
}

INSTANTIATE_TEST_SUITE_P(EveryMachine, ExpectedReports, ::testing::ValuesIn(kRecordedMachines),
                         [](const auto& machine) {
                           std::string name = machine.param;
                           std::ranges::replace(name, ',', '_');
                           return name;
                         });

TEST(KelvoraMachines, ListsTheRecordedMacsByNameAndTitle) {
  const ProgramResult result = runKelvora({"machines"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(lineCount(result.standardOutput),
            static_cast<std::ptrdiff_t>(std::size(kRecordedMachines)));
  EXPECT_THAT(result.standardOutput,
              ::testing::ContainsRegex("MacBookPro15,1 +MacBook Pro 15-inch 2018 +x86_64"));
  const Json report = Json::parse(runKelvora({"machines", "--json"}).standardOutput);
  for (std::size_t i = 0; i < std::size(kRecordedMachines); ++i) {
    EXPECT_EQ(report["machines"][i]["name"], kRecordedMachines[i]);
  }
}

}  // namespace
}  // namespace kelvora::testing
