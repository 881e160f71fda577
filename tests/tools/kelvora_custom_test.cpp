// Sensors of the user's own in the terminal, with real files.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/Platform.h"

#include "tests/support/ChildWork.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class KelvoraCustom : public ::testing::Test {
 protected:
  KelvoraCustom() {
    setenv("XDG_CONFIG_HOME", folder_.path("config").c_str(), 1);
    setenv("XDG_DATA_HOME", folder_.path("data").c_str(), 1);
    unsetenv("KELVORA_MACHINE");
  }

  static ProgramResult custom(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), "custom");
    return runKelvora(arguments);
  }
  static ProgramResult add(const std::string& key, const std::string& type,
                           std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"add", key, "Desk", "--type", type};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return custom(arguments);
  }
  static json list() { return json::parse(custom({"--json"}).standardOutput)["sensors"]; }
  static void set(const std::string& name, const std::string& value) {
    EXPECT_EQ(runKelvora({"settings", "set", name, value}).status, 0);
  }
  static json menuSensors() {
    return json::parse(
        runKelvora({"settings", "get", "menuSensors", "--json"}).standardOutput)["value"];
  }

  TemporaryFolder folder_;
};

TEST_F(KelvoraCustom, LookingCreatesNothing) {
  EXPECT_EQ(custom().standardOutput, "There are no sensors of your own.\n");
  EXPECT_THAT(list(), IsEmpty());
  expectRefused(custom({"remove", "TCXX"}), "TCXX: The sensor key is not valid.");
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(KelvoraCustom, AnAddedOneIsListedWithItsValueInTheUsersUnit) {
  const ProgramResult result = add("TCXX", "temperature", {"--value", "21.6"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardOutput, "TCXX  Desk                            22°C\n");
  EXPECT_EQ(custom().standardOutput, result.standardOutput);
  set("tempUnitCelsius", "false");
  EXPECT_EQ(custom().standardOutput, "TCXX  Desk                            71°F\n");
  EXPECT_EQ(list(), json::parse(R"([{"key": "TCXX", "name": "Desk", "value": 21.6, "unit": "°C",
                                     "type": 0}])"));
}

TEST_F(KelvoraCustom, EverySignOfAsciiMayBeInAKey) {
  EXPECT_EQ(add("TC!~", "temperature", {"--value", "20"}).status, 0);
  EXPECT_EQ(list()[0]["key"], "TC!~");
}

TEST_F(KelvoraCustom, LookingLeavesTheStoreAsItIs) {
  add("TCXX", "temperature");
  const std::string name = "data/group.com.kelvora/Database.sqlite";
  const std::string before = folder_.read(name);
  const auto written = std::filesystem::last_write_time(folder_.path(name));
  EXPECT_EQ(list().size(), 1U);
  EXPECT_EQ(folder_.read(name), before);
  EXPECT_EQ(std::filesystem::last_write_time(folder_.path(name)), written);
  EXPECT_FALSE(std::filesystem::exists(folder_.path(name + "-wal")));
}

TEST_F(KelvoraCustom, EachTypeHasItsUnitAndCategory) {
  EXPECT_EQ(json::parse(add("VCXX", "voltage", {"--json"}).standardOutput)["unit"], "V");
  EXPECT_EQ(json::parse(add("ICXX", "current", {"--json"}).standardOutput)["unit"], "A");
  const json power =
      json::parse(add("PCXX", "power", {"--value", "12.5", "--json"}).standardOutput);
  EXPECT_EQ(power["unit"], "W");
  EXPECT_EQ(power["type"], 4);
  EXPECT_EQ(power["value"], 12.5);
  EXPECT_EQ(list().size(), 3U);
  const auto platform = Platform::live();
  KVCoreDataStore store(-1, *platform);
  EXPECT_EQ(store.allCategories()->size(), 3U);
  EXPECT_EQ(store.getCategoryWithName("Power")->type(), 4);
}

TEST_F(KelvoraCustom, WithoutAValueItHasWhatTheMacReadsOr0) {
  EXPECT_EQ(json::parse(add("TCXX", "temperature", {"--json"}).standardOutput)["value"], 0);
  setenv("KELVORA_MACHINE", "iMac19,1", 1);
  const json reading =
      json::parse(runKelvora({"sensors", "TC0P", "--json"}).standardOutput)["sensors"][0]["value"];
  EXPECT_GT(reading, 0);
  EXPECT_EQ(json::parse(add("TC0P", "temperature", {"--json"}).standardOutput)["value"], reading);
}

TEST_F(KelvoraCustom, RefusalsAreInTheLibrarysWordsAndTheUsersLanguage) {
  add("TCXX", "temperature");
  expectRefused(add("TCXX", "power"), "TCXX: This sensor exists already.");
  expectRefused(add("TC", "power"), "TC: The sensor key is not valid.");
  expectRefused(add("TC XX", "power"), "TC XX: The sensor key is not valid.");
  expectRefused(add("T XX", "power"), "T XX: The sensor key is not valid.");
  expectRefused(add("TCÄ", "power"), "TCÄ: The sensor key is not valid.");
  expectRefused(add("PCXX", "power", {"--value", "nan"}), "PCXX: The data entered is not valid.");
  expectRefused(custom({"add", "PCXX", " ", "--type", "power"}),
                "PCXX: The data entered is not valid.");
  expectRefused(custom({"remove", "PCXX"}), "PCXX: The sensor key is not valid.");
  set("currentLanguage", "de");
  expectRefused(add("TCXX", "power"), "TCXX: Diesen Sensor gibt es schon.");
  EXPECT_EQ(list().size(), 1U);
}

TEST_F(KelvoraCustom, ATypeIsNeededAndAFanIsRefused) {
  EXPECT_EQ(custom({"add", "TCXX", "Desk"}).status, 2);
  const ProgramResult fan = add("F9Ac", "fan");
  EXPECT_EQ(fan.status, 2);
  EXPECT_THAT(fan.standardError, HasSubstr("takes temperature, voltage, current or power"));
  EXPECT_THAT(list(), IsEmpty());
}

TEST_F(KelvoraCustom, ARemovedOneIsGoneAlsoFromTheMenu) {
  add("TCXX", "temperature");
  add("TCYY", "temperature");
  set("menuSensors", R"(["TCYY", "TCXX"])");
  EXPECT_EQ(custom({"remove", "TCXX"}).standardOutput, "Removed TCXX (Desk)\n");
  EXPECT_EQ(list().size(), 1U);
  EXPECT_EQ(menuSensors(), json::parse(R"(["TCYY"])"));
  EXPECT_EQ(json::parse(custom({"remove", "TCYY", "--json"}).standardOutput)["key"], "TCYY");
  EXPECT_EQ(custom().standardOutput, "There are no sensors of your own.\n");
}

TEST_F(KelvoraCustom, ABuiltInOneIsNeitherListedNorRemoved) {
  {
    const auto platform = Platform::live();
    KVCoreDataStore store(-1, *platform);
    store.createSensorWithKey("TC0P", store.viewContext());
    store.saveViewContext();
  }
  EXPECT_THAT(list(), IsEmpty());
  expectRefused(custom({"remove", "TC0P"}), "TC0P: A built-in sensor cannot be removed.");
  expectRefused(add("TC0P", "temperature"), "TC0P: This sensor exists already.");
}

TEST_F(KelvoraCustom, AStoreThatCannotBeUsedIsNamedAndLeftAsItIs) {
  const std::string path = folder_.write("data/group.com.kelvora/Database.sqlite", "no database");
  for (const auto& result : {custom(), add("TCXX", "power"), custom({"remove", "TCXX"})}) {
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.standardError, HasSubstr(path + ": file is not a database"));
  }
  EXPECT_EQ(folder_.read("data/group.com.kelvora/Database.sqlite"), "no database");
}

void makeOlder(const std::string& path) {
  SQLite::Database(path, SQLite::OPEN_READWRITE)
      .exec("UPDATE _store SET value = '{\"entities\": []}'");
}

TEST_F(KelvoraCustom, AStoreOfAnEarlierVersionIsBroughtUpToDate) {
  const std::string path = folder_.path("data/group.com.kelvora/Database.sqlite");
  add("TCXX", "temperature");
  makeOlder(path);
  EXPECT_EQ(custom().status, 1) << "looking changes nothing";
  EXPECT_EQ(add("TCYY", "temperature").status, 0);
  makeOlder(path);
  EXPECT_EQ(custom({"remove", "TCXX"}).status, 0);
  EXPECT_EQ(list().size(), 1U);
}

// As a disk leaves it that became full at the first opening.
TEST_F(KelvoraCustom, AStoreWithoutTablesIsEmpty) {
  std::filesystem::create_directories(folder_.path("data/group.com.kelvora"));
  SQLite::Database(folder_.path("data/group.com.kelvora/Database.sqlite"),
                   SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
      .exec("PRAGMA journal_mode=WAL");
  EXPECT_EQ(custom().standardOutput, "There are no sensors of your own.\n");
  expectRefused(custom({"remove", "TCXX"}), "TCXX: The sensor key is not valid.");
  EXPECT_EQ(add("TCXX", "temperature").status, 0);
  EXPECT_EQ(list().size(), 1U);
}

TEST_F(KelvoraCustom, AStoreThatCannotBeOpenedForWritingIsTheFaultAndNotTheKey) {
  add("TCXX", "temperature");
  for (const std::string words : {"remove TCXX", "add TCYY Desk --type power"}) {
    const ProgramResult result =
        runProgram("/bin/sh", {"-c", "{ trap '' XFSZ; ulimit -f 0; '" KELVORA_PROGRAM "' custom " +
                                         words + "; echo $?; } 2>&1 | cat"});
    EXPECT_THAT(result.standardOutput,
                AllOf(Not(HasSubstr("key")), HasSubstr(" ('kelvora doctor' says more)\n1\n")));
  }
  EXPECT_EQ(list().size(), 1U);
}

TEST_F(KelvoraCustom, APipeInPlaceOfTheStoreIsNotWaitedFor) {
  std::filesystem::create_directories(folder_.path("data/group.com.kelvora"));
  const std::string path = folder_.path("data/group.com.kelvora/Database.sqlite");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  for (const auto& result : {custom(), add("TCXX", "power"), custom({"remove", "TCXX"})}) {
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.standardError, HasSubstr(path + ": not a file"));
  }
}

// Files may have 32 KB: enough to open a store, and too little for a long name.
TEST_F(KelvoraCustom, WhatCannotBeSavedIsAFailure) {
  add("TCXX", "temperature");
  const ProgramResult result =
      runProgram("/bin/sh", {"-c",
                             "{ trap '' XFSZ; ulimit -f 64; '" KELVORA_PROGRAM
                             "' custom add TCYY \"$0\" --type power; echo $?; } 2>&1 | cat",
                             std::string(60000, 'x')});
  EXPECT_THAT(result.standardOutput, HasSubstr("\nkelvora: TCYY: Something went wrong. Please try "
                                               "again. ('kelvora doctor' says more)\n1\n"));
  EXPECT_EQ(list().size(), 1U);
}

// As programs leave it that make their first sensor at the same time.
TEST_F(KelvoraCustom, ACategoryThatIsThereTwiceIsJoined) {
  const auto platform = Platform::live();
  {
    KVCoreDataStore store(-1, *platform);
    const auto context = store.viewContext();
    for (const char* key : {"TCAA", "TCBB"}) {
      const auto category = store.createOrUpdateCategoryWithName(key, context);
      category->setName("Temperature");
      store.createSensorWithKey(key, context)->setCategory(category);
      ASSERT_EQ(context->save(), std::nullopt);
      category->setName(key);
    }
    const auto categories = store.allCategories().value();
    ASSERT_EQ(categories.size(), 2U);
    for (const auto& category : categories) {
      category->setName("Temperature");
    }
    store.saveViewContext();
  }
  EXPECT_EQ(add("TCXX", "temperature").status, 0);
  KVCoreDataStore store(-1, *platform);
  EXPECT_EQ(store.allCategories()->size(), 1U);
  EXPECT_EQ(store.tempSensors()->size(), 3U);
}

TEST_F(KelvoraCustom, ManyProgramsThatStartTheStoreMakeOneCategory) {
  std::vector<ChildWork> programs;
  for (int i = 0; i < 4; ++i) {
    programs.emplace_back([i] { return add("TC0" + std::to_string(i), "temperature").status; });
  }
  for (ChildWork& program : programs) {
    EXPECT_EQ(program.wait(), 0);
  }
  const auto platform = Platform::live();
  KVCoreDataStore store(-1, *platform);
  EXPECT_EQ(store.allCategories()->size(), 1U);
  EXPECT_EQ(store.tempSensors()->size(), 4U);
}

TEST_F(KelvoraCustom, ManyProgramsAtOnceAddOneKeyOnce) {
  add("TCXX", "temperature");
  std::vector<ChildWork> programs;
  for (int i = 0; i < 4; ++i) {
    programs.emplace_back([i] {
      int status = add("TCYY", "temperature").status == 1 ? 1 : 0;
      status += add("TC0" + std::to_string(i), "temperature").status;
      return status;
    });
  }
  for (ChildWork& program : programs) {
    EXPECT_EQ(program.wait(), 0);
  }
  EXPECT_EQ(list().size(), 6U);
}

}  // namespace
}  // namespace kelvora::testing
