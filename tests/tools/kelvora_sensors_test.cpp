// What a reading looks like under the user's settings.

#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kFans[] = R"({
  "format": "kelvora-machine", "version": 1, "architecture": "x86_64", "title": "T",
  "sysctl": {"machdep.cpu.brand_string": "Intel"},
  "smc": {"keys": [
    {"key": "#KEY", "type": "ui32", "bytes": "00000012"},
    {"key": "FNum", "type": "ui8 ", "bytes": "05"},
    {"key": "F0Ac", "type": "fpe2", "bytes": "1f40"},
    {"key": "F0Mn", "type": "fpe2", "bytes": "0fa0"},
    {"key": "F0Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "F1Ac", "type": "fpe2", "bytes": "0fa0"},
    {"key": "F1Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F1Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "F2Ac", "type": "fpe2", "bytes": "3e80"},
    {"key": "F2Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F2Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "F3Ac", "type": "fpe2", "bytes": "1f40"},
    {"key": "F3Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F3Mx", "type": "fpe2", "bytes": "1f40"},
    {"key": "F4Ac", "type": "flt ", "bytes": "0000c07f"},
    {"key": "F4Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F4Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "TC0P", "type": "sp78", "bytes": "2d80"}
  ]}})";

class KelvoraSensors : public ::testing::Test {
 protected:
  // Settings as another program of the product left them.
  void choose(const std::string& entries) {
    folder_.write("group.com.kelvora/Settings.plist",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>" +
                      entries + "</dict></plist>");
  }
  ProgramResult run(const std::string& option = "--machine") {
    std::vector<std::string> arguments = {"sensors", "--machine", machine_};
    if (option == "--json") {
      arguments.push_back(option);
    }
    return runKelvora(arguments, {{"XDG_CONFIG_HOME", folder_.path()}});
  }
  std::string text() { return run().standardOutput; }

 private:
  TemporaryFolder folder_;
  std::string machine_ = folder_.write("machine.json", kFans);
};

TEST_F(KelvoraSensors, ShowCelsiusAndRevolutionsToANewUser) {
  const std::string report = text();
  EXPECT_THAT(report, ContainsRegex("CPU Proximity Temperature +46°C  TC0P"));
  EXPECT_THAT(report, ContainsRegex("2000rpm  0 +1000rpm to 3000rpm"));
}

TEST_F(KelvoraSensors, ShowFahrenheitWhenTheUserChoseIt) {
  choose("<key>KVTempUnitCelsius</key><false/>");
  const std::string report = text();
  EXPECT_THAT(report, ContainsRegex("CPU Proximity Temperature +114°F  TC0P"));
  EXPECT_THAT(report, Not(HasSubstr("°C")));
}

TEST_F(KelvoraSensors, ShowFansAsThePlaceInTheirRangeAndLimitsStillInRevolutions) {
  choose("<key>KVFanValueTypeKey</key><integer>1</integer>");
  const std::string report = text();
  EXPECT_THAT(report, ContainsRegex(" 50%  0 +1000rpm to 3000rpm"));
  EXPECT_THAT(report, ContainsRegex(" 0%  1 +2000rpm to 3000rpm")) << "below the range";
  EXPECT_THAT(report, ContainsRegex(" 100%  2 +2000rpm to 3000rpm")) << "above the range";
  EXPECT_THAT(report, ContainsRegex(" –  3 +2000rpm to 2000rpm")) << "no range";
  EXPECT_THAT(report, ContainsRegex(" –  4 +2000rpm to 3000rpm")) << "no number";
}

TEST_F(KelvoraSensors, AreLabelledInTheUsersLanguage) {
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  EXPECT_THAT(text(), ContainsRegex("Temperatur CPU Proximity +46°C  TC0P"));
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>pt</string>");
  EXPECT_THAT(text(), ContainsRegex("  CPU Proximity +46°C  TC0P")) << "no such table";
}

TEST_F(KelvoraSensors, StayRawInJSONWhateverTheUserChose) {
  const std::string before = run("--json").standardOutput;
  choose(
      "<key>KVTempUnitCelsius</key><false/><key>KVFanValueTypeKey</key><integer>1</integer>"
      "<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  EXPECT_EQ(run("--json").standardOutput, before);
  const auto report = nlohmann::json::parse(before);
  const auto found = std::ranges::find_if(
      report["sensors"], [](const nlohmann::json& sensor) { return sensor["key"] == "TC0P"; });
  ASSERT_NE(found, report["sensors"].end());
  EXPECT_EQ((*found)["value"], 45.5);
  EXPECT_EQ((*found)["name"], "CPU Proximity");
}

}  // namespace
}  // namespace kelvora::testing
