// Which sensor `history` shows, and what it refuses.

#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/KelvoraHistory.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(KelvoraHistory, ASensorIsFoundByItsNameInAnyCase) {
  record("TC0P", "CPU Proximity", kTemperature, kHour, {{60, 45}});
  record("Tm0P", "Größe", kTemperature, kHour, {{60, 46}});
  EXPECT_EQ(report({"cpu proximity"})["sensor"]["key"], "TC0P");
  EXPECT_EQ(report({"GRÖSSE"})["sensor"]["key"], "Tm0P");
  {
    KVCoreDataStore store(-1, *platform_);
    store.getSensorByKey("Tm0P")->setFullName("Memory Bank 1");
    ASSERT_EQ(store.viewContext()->save(), std::nullopt);
  }
  EXPECT_EQ(report({"memory bank 1"})["sensor"]["key"], "Tm0P");
  expectRefusal({"CPU Proximty"}, 2,
                "no stored sensor has this key or name; did you mean CPU Proximity?");
  expectRefusal({"TC0p"}, 2, "did you mean TC0P?");
  expectRefusal({"zzzzzz"}, 2,
                "zzzzzz: no stored sensor has this key or name ('kelvora history' lists them)");
}

TEST_F(KelvoraHistory, ANameThatSeveralSensorsHaveIsRefusedWithTheirKeys) {
  record("Ta", "Ambient", kTemperature, kHour, {{60, 45}});
  record("Tb", "Ambient", kTemperature, kHour, {{60, 46}});
  record("Ambient", "Other", kTemperature, kHour, {{60, 47}});
  EXPECT_EQ(report({"Ambient"})["last"], 47) << "a key comes first";
  expectRefusal({"ambient"}, 2, "several sensors have this name; their keys are Ta and Tb");
}

TEST_F(KelvoraHistory, WithoutASensorTheOnesWithAHistoryAreListed) {
  record("TC0P", "CPU Proximity", kTemperature, kWeek, {{60, 45}});
  record("F0Ac", "Fan 1", kFan, kHour, {{1e9, 2000}});
  record("VC0C", "CPU Core", kVoltage, kHour, {});
  EXPECT_EQ(text({}), "TC0P  CPU Proximity Temperature\nF0Ac  Fan 1\n");
  const json expected = json::parse(R"({"sensors": [
      {"key": "TC0P", "name": "CPU Proximity", "fullName": "CPU Proximity", "unit": "°C"},
      {"key": "F0Ac", "name": "Fan 1", "fullName": "Fan 1", "unit": "rpm"}]})");
  EXPECT_EQ(report({}), expected);
  for (const char* option : {"--csv", "--svg=-", "--range=day"}) {
    expectRefusal({option}, 2, "needs a SENSOR");
  }
}

TEST_F(KelvoraHistory, WithoutAStoreNothingIsCreated) {
  EXPECT_THAT(text({}), HasSubstr("no history yet ('kelvora record-history' records it)"));
  EXPECT_EQ(report({})["sensors"], json::array());
  expectRefusal({"TC0P"}, 1, "TC0P: no history yet ('kelvora record-history' records it)");
  EXPECT_THAT(home_.entries(), IsEmpty());
}

TEST_F(KelvoraHistory, LookingChangesNothing) {
  recordDay();
  const auto before = home_.entries();
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"--json"},
                                                    {"TC0P"},
                                                    {"cpu proximity", "--range", "week"},
                                                    {"TC0P", "--json"},
                                                    {"TC0P", "--csv"},
                                                    {"TC0P", "--svg", "-"}}) {
    EXPECT_EQ(history(arguments).status, 0);
    EXPECT_EQ(home_.entries(), before);
  }
}

TEST_F(KelvoraHistory, AStoreThatCannotBeReadIsAnError) {
  const std::string path =
      home_.write("data/group.com.kelvora/Database.sqlite", std::string(5000, 'x'));
  const std::string fault = path + ": file is not a database ('kelvora doctor' says more)";
  expectRefusal({"TC0P"}, 1, fault);
  expectRefusal({}, 1, fault);
}

TEST_F(KelvoraHistory, AStoreOfAnEarlierVersionIsReadOnceAProgramHasWrittenToIt) {
  recordDay();
  const std::string path = home_.path("data/group.com.kelvora/Database.sqlite");
  SQLite::Database(path, SQLite::OPEN_READWRITE)
      .exec("UPDATE _store SET value = '{\"entities\": []}'");
  const auto before = home_.entries();
  const std::string line = path +
                           ": written by an earlier version; a program that writes to it, "
                           "e.g. 'kelvora record-history', brings it up to date";
  expectRefusal({"TC0P"}, 1, line);
  expectRefusal({}, 1, line);
  EXPECT_EQ(home_.entries(), before);
  record("TG0P", "GPU", kTemperature, kHour, {{60, 40}});
  EXPECT_EQ(report({"TC0P", "--range", "day"})["points"].size(), 1440U);
}

TEST_F(KelvoraHistory, FormsOfTheReportExcludeEachOther) {
  recordDay();
  expectRefusal({"TC0P", "--json", "--csv"}, 2, "--json, --csv and --svg exclude each other");
  expectRefusal({"TC0P", "--svg", "-", "--csv"}, 2, "exclude each other");
  expectRefusal({"TC0P", "--svg", "-", "--json"}, 2, "exclude each other");
}

TEST_F(KelvoraHistory, EmptyWordsAreRefused) {
  recordDay();
  expectRefusal({"TC0P", "--svg", ""}, 2, "--svg needs a file");
  expectRefusal({""}, 2, ": no stored sensor has this key or name");
}

TEST_F(KelvoraHistory, HelpShowsAnExample) {
  EXPECT_THAT(history({"--help"}).standardOutput, HasSubstr("kelvora history TC0P --range day"));
}

}  // namespace
}  // namespace kelvora::testing
