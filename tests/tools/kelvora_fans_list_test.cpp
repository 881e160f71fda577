// The list of the fans.
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

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
  EXPECT_THAT(named.standardOutput, Not(HasSubstr("held by")));
  EXPECT_THAT(runKelvora({"fans"}, {{"KELVORA_MACHINE", kWithModes}}).standardOutput,
              Not(HasSubstr("held by")));
  expectSet(0, 3000);
}

TEST_F(KelvoraFans, OfAMachineWithoutSMCAreReportedAsMissing) {
  const std::string file = home_.write(
      "none.json", R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64"})");
  const ProgramResult result = run({"fans", "--machine", file});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardOutput, EndsWith("\nno fans\n"));
  EXPECT_THAT(result.standardError, EndsWith(": there is no SMC with fans\n"));
  EXPECT_THAT(result.standardError, Not(HasSubstr("Error"))) << "that says the same";
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

}  // namespace
}  // namespace kelvora::testing
