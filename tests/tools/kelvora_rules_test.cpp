// Overheat rules in the terminal.

#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"

#include "tests/support/StoreFixture.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class KelvoraRules : public StoreFixture {
 protected:
  KelvoraRules() {
    setenv("XDG_CONFIG_HOME", temporary.path("config").c_str(), 1);
    platform = Platform::live();
    run({"settings", "set", "appLaunchCount", "5"});
  }
  void addSensors() {
    const auto store = makeStore();
    const auto category = addCategory(*store, "Temperature", 0);
    addSensor(*store, "TC0P", category)->setName("CPU Proximity");
    addSensor(*store, "TG0P", category)->setName("GPU Proximity");
    store->saveViewContext();
  }
  static ProgramResult run(const std::vector<std::string>& arguments) {
    return runKelvora(arguments);
  }
  static ProgramResult rules(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), "rules");
    return runKelvora(arguments);
  }
  static json listed() { return json::parse(rules({"--json"}).standardOutput).at("rules"); }
};

TEST_F(KelvoraRules, ListingBeforeAnythingIsStoredChangesNothing) {
  const TemporaryFolder fresh;
  const Environment environment = {{"XDG_CONFIG_HOME", fresh.path("c")},
                                   {"XDG_DATA_HOME", fresh.path("d")}};
  const ProgramResult result = runKelvora({"rules"}, environment);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardOutput, "no rules ('kelvora rules add' makes one)\n");
  EXPECT_EQ(runKelvora({"rules", "--json"}, environment).standardOutput, "{\n  \"rules\": []\n}\n");
  EXPECT_FALSE(std::filesystem::exists(fresh.path("c")));
  EXPECT_FALSE(std::filesystem::exists(fresh.path("d")));
}

TEST_F(KelvoraRules, AnAddedRuleIsActiveAndListed) {
  addSensors();
  const ProgramResult added = rules({"add", "TC0P", "--threshold", "85.5", "--repeat", "3"});
  EXPECT_EQ(added.status, 0) << added.standardError;
  EXPECT_EQ(added.standardOutput, "TC0P  CPU Proximity  from 85.5°C  every 60 s  active\n");
  EXPECT_EQ(rules({"add", "any-sensor", "--threshold", "95"}).status, 0);
  EXPECT_EQ(rules().standardOutput,
            "TC0P        CPU Proximity  from 85.5°C  every 60 s  active\n"
            "any-sensor                 from 95°C    once        active\n");
  EXPECT_EQ(listed(), (json::array({{{"sensorKey", "TC0P"},
                                     {"sensorName", "CPU Proximity"},
                                     {"threshold", 85.5},
                                     {"unit", "°C"},
                                     {"active", true},
                                     {"repeat", 3},
                                     {"repeatDelaySeconds", 60},
                                     {"lastTimeFired", nullptr}},
                                    {{"sensorKey", "any-sensor"},
                                     {"sensorName", nullptr},
                                     {"threshold", 95.0},
                                     {"unit", "°C"},
                                     {"active", true},
                                     {"repeat", 0},
                                     {"repeatDelaySeconds", 0},
                                     {"lastTimeFired", nullptr}}})));
}

TEST_F(KelvoraRules, ASecondRuleForOneSensorIsRefused) {
  addSensors();
  rules({"add", "TC0P", "--threshold", "85"});
  expectRefused(rules({"add", "TC0P", "--threshold", "90"}),
                "TC0P: The data entered is not valid. (there is a rule for this sensor already; "
                "'kelvora rules change' changes it)");
  EXPECT_EQ(listed().at(0).at("threshold"), 85.0);
}

TEST_F(KelvoraRules, AnUnknownSensorIsRefusedInTheLibrarysWords) {
  addSensors();
  expectRefused(rules({"add", "TC0Q", "--threshold", "90"}),
                "TC0Q: The sensor key is not valid. (did you mean TC0P?)");
  expectRefused(rules({"add", "something", "--threshold", "90"}),
                "something: The sensor key is not valid. (no stored sensor has this key)");
  EXPECT_TRUE(listed().empty());
}

TEST_F(KelvoraRules, ARefusalIsInTheUsersLanguage) {
  addSensors();
  run({"settings", "set", "currentLanguage", "de"});
  const ProgramResult result = rules({"add", "TC0Q", "--threshold", "90"});
  EXPECT_THAT(result.standardError, HasSubstr("TC0Q: Der Sensorschlüssel ist ungültig."));
  EXPECT_EQ(result.status, 2);
}

TEST_F(KelvoraRules, OnlyWhatIsNamedIsChanged) {
  addSensors();
  rules({"add", "TC0P", "--threshold", "85", "--repeat", "3"});
  const ProgramResult changed = rules({"change", "TC0P", "--threshold", "90"});
  EXPECT_EQ(changed.standardOutput, "TC0P  CPU Proximity  from 90°C  every 60 s  active\n");
  EXPECT_EQ(rules({"change", "TC0P", "--active", "no"}).standardOutput,
            "TC0P  CPU Proximity  from 90°C  every 60 s  not active\n");
  EXPECT_EQ(rules({"change", "TC0P", "--repeat", "0", "--active", "yes"}).standardOutput,
            "TC0P  CPU Proximity  from 90°C  once  active\n");
  EXPECT_EQ(rules().standardOutput, "TC0P  CPU Proximity  from 90°C  once  active\n");
}

TEST_F(KelvoraRules, AChangedRuleMayFireAgain) {
  addSensors();
  rules({"add", "TC0P", "--threshold", "85"});
  {
    KVDataManager manager(*platform);
    manager.changeOverheatNotification("TC0P", [](KVNotification& rule) {
      rule.lastTimeFired = KVNotification::Date(std::chrono::seconds(1'700'000'000));
    });
  }
  EXPECT_THAT(listed().at(0).at("lastTimeFired").get<std::string>(),
              MatchesRegex("2023-11-1[45]T[0-9:]*[+-].*"));
  EXPECT_THAT(rules().standardOutput, HasSubstr("active  fired 2023-11-1"));
  rules({"change", "TC0P", "--threshold", "86"});
  EXPECT_EQ(listed().at(0).at("lastTimeFired"), nullptr);
}

TEST_F(KelvoraRules, AChangeOfNothingOrOfNoRuleIsRefused) {
  addSensors();
  rules({"add", "TC0P", "--threshold", "85"});
  expectRefused(rules({"change", "TC0P"}),
                "TC0P: The data entered is not valid. (--threshold, --repeat or --active is "
                "needed)");
  for (const char* command : {"change", "remove"}) {
    std::vector<std::string> arguments = {command, "TG0P"};
    if (arguments[0] == "change") {
      arguments.insert(arguments.end(), {"--repeat", "1"});
    }
    expectRefused(rules(arguments),
                  "TG0P: The data entered is not valid. ('kelvora rules' lists the rules)");
  }
}

TEST_F(KelvoraRules, ARemovedRuleIsGoneAndTheOthersStay) {
  addSensors();
  rules({"add", "TC0P", "--threshold", "85"});
  rules({"add", "TG0P", "--threshold", "80"});
  const ProgramResult removed = rules({"remove", "TC0P", "--json"});
  EXPECT_EQ(json::parse(removed.standardOutput).at("sensorKey"), "TC0P");
  ASSERT_EQ(listed().size(), 1U);
  EXPECT_EQ(listed().at(0).at("sensorKey"), "TG0P");
  EXPECT_THAT(rules({"remove", "TG0P"}).standardOutput, StartsWith("Removed TG0P  "));
}

TEST_F(KelvoraRules, ALimitIsShownInTheUnitInWhichItCountsNow) {
  addSensors();
  const auto setUnit = [](const char* celsius) {
    return run({"settings", "set", "tempUnitCelsius", celsius}).standardError;
  };
  EXPECT_EQ(setUnit("false"), "");  // there are no rules
  EXPECT_EQ(setUnit("true"), "");
  rules({"add", "TC0P", "--threshold", "85"});
  EXPECT_EQ(setUnit("true"), "");
  EXPECT_EQ(setUnit("false"),
            "kelvora: the limits of overheat rules for temperatures now count in °F "
            "('kelvora rules' lists them)\n");
  EXPECT_EQ(rules().standardOutput, "TC0P  CPU Proximity  from 85°F  once  active\n");
  EXPECT_EQ(listed().at(0).at("unit"), "°F");
  EXPECT_EQ(listed().at(0).at("threshold"), 85);
}

TEST_F(KelvoraRules, WrongOptionsAreRefused) {
  addSensors();
  EXPECT_EQ(rules({"add", "TC0P"}).status, 2);
  EXPECT_EQ(rules({"add", "TC0P", "--threshold", "hot"}).status, 2);
  EXPECT_EQ(rules({"add", "TC0P", "--threshold", "nan"}).status, 2);
  EXPECT_EQ(rules({"add", "TC0P", "--threshold", "85", "--repeat", "6"}).status, 2);
  EXPECT_EQ(rules({"change", "TC0P", "--active", "maybe"}).status, 2);
  EXPECT_EQ(rules({"remove"}).status, 2);
  EXPECT_EQ(rules({"add", "--help"}).status, 0);
  EXPECT_TRUE(listed().empty());
}

TEST_F(KelvoraRules, AListThatCannotBeWrittenIsReported) {
  addSensors();
  temporary.write("locked", "");
  const Environment environment = {{"XDG_CONFIG_HOME", temporary.path("locked")}};
  const ProgramResult result =
      runKelvora({"rules", "add", "TC0P", "--threshold", "85"}, environment);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardError,
              HasSubstr("kelvora: the list of rules could not be written ('kelvora doctor' says "
                        "more)\n"));
}

}  // namespace
}  // namespace kelvora::testing
