// Fan sets and fan conditions in the terminal.

#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"

#include "tests/support/ChildProgram.h"
#include "tests/support/StoreFixture.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class KelvoraFanSets : public StoreFixture {
 protected:
  KelvoraFanSets() {
    setenv("XDG_CONFIG_HOME", temporary.path("config").c_str(), 1);
    platform = Platform::live();
  }
  void addSensor(double value = 50) {
    const auto store = makeStore();
    const auto sensor = StoreFixture::addSensor(*store, "TC0P", addCategory(*store, "T", 0));
    sensor->setValue(value);
    store->saveViewContext();
  }
  static ProgramResult run(const std::vector<std::string>& arguments) {
    return runKelvora(arguments);
  }
  static json jsonOf(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    return json::parse(runKelvora(arguments).standardOutput);
  }
  static json sets() { return jsonOf({"fansets"}).at("fanSets"); }
  static json conditions() { return jsonOf({"conditions"}).at("conditions"); }
  static std::string idOf(const json& condition) {
    return std::to_string(condition.at("id").get<std::int64_t>());
  }
};

TEST_F(KelvoraFanSets, ListingBeforeAnythingIsStoredChangesNothing) {
  EXPECT_EQ(run({"fansets"}).standardOutput, "no fan sets ('kelvora fansets add' makes one)\n");
  EXPECT_EQ(run({"conditions"}).standardOutput,
            "no fan conditions ('kelvora conditions add' makes one)\n");
  EXPECT_EQ(jsonOf({"fansets"}), (json{{"fanSets", json::array()}, {"applies", nullptr}}));
  EXPECT_EQ(jsonOf({"conditions"}), (json{{"conditions", json::array()}}));
  EXPECT_FALSE(std::filesystem::exists(folder()));
  EXPECT_FALSE(std::filesystem::exists(temporary.path("config")));
}

TEST_F(KelvoraFanSets, AnAddedSetIsListedWithItsSpeeds) {
  const ProgramResult added = run({"fansets", "add", "Quiet", "F0=1200", "F1=1300.5"});
  EXPECT_EQ(added.status, 0) << added.standardError;
  EXPECT_THAT(added.standardOutput, StartsWith("Quiet  1"));
  EXPECT_THAT(added.standardOutput, EndsWith("  F0=1200 F1=1300.5\n"));
  EXPECT_EQ(run({"fansets"}).standardOutput, added.standardOutput);
  const json set = sets().at(0);
  EXPECT_EQ(set.at("name"), "Quiet");
  EXPECT_EQ(set.at("speeds"), (json{{"F0", 1200.0}, {"F1", 1300.5}}));
  EXPECT_EQ(set.at("isManual"), false);
}

TEST_F(KelvoraFanSets, SetsOfOneSecondHaveIdentifiersOfTheirOwn) {
  for (const char* name : {"a", "b", "c"}) {
    run({"fansets", "add", name, "F0=1200"});
  }
  const json all = sets();
  ASSERT_EQ(all.size(), 3U);
  EXPECT_NE(all.at(0).at("identifier"), all.at(1).at("identifier"));
  EXPECT_NE(all.at(1).at("identifier"), all.at(2).at("identifier"));
  run({"fansets", "use", "b"});
  EXPECT_EQ(jsonOf({"fansets"}).at("applies"), all.at(1).at("identifier"));
}

TEST_F(KelvoraFanSets, AddedAtOnceHaveIdentifiersOfTheirOwn) {
  std::vector<std::unique_ptr<ChildProgram>> programs;
  for (const char* name : {"a", "b", "c"}) {
    programs.push_back(std::make_unique<ChildProgram>(
        KELVORA_PROGRAM, std::vector<std::string>{"fansets", "add", name, "0=1200"}));
  }
  for (const auto& program : programs) {
    program->restOfOutput();
    EXPECT_EQ(program->wait(), 0);
  }
  std::set<json> identifiers;
  for (const json& set : sets()) {
    identifiers.insert(set.at("identifier"));
    EXPECT_EQ(set.at("speeds"), (json{{"F0", 1200.0}}));
  }
  EXPECT_EQ(identifiers.size(), 3U);
}

TEST_F(KelvoraFanSets, OneWhoseIdentifierAnotherHasIsNotChosen) {
  run({"fansets", "add", "Quiet", "0=1200"});
  KVDataManager manager(*platform);
  KVCoreDataStore& store = manager.coreDataStore();
  store.createFanSetWithName("Twin", {{"F0", 1300.0}})
      ->setIdentifier(sets().at(0).at("identifier"));
  ASSERT_EQ(store.viewContext()->save(), std::nullopt);
  const bool isFirstMeant = run({"fansets", "use", "Quiet"}).status == 0;
  const ProgramResult twin = run({"fansets", "use", "Twin"});
  EXPECT_EQ(twin.status, isFirstMeant ? 2 : 0);
  EXPECT_EQ(sets().size(), 2U);
}

TEST_F(KelvoraFanSets, SpeedsOfAnotherFormAreRefused) {
  for (const char* word : {"F0", "F0=", "F0=fast", "F0=0", "F0=-5", "F0=1e9", "F0=12rpm", "FK=1200",
                           "X0=1200", "F00=1200", "=1200", "F0=[1]"}) {
    expectRefused(run({"fansets", "add", "Quiet", word}),
                  std::string(word) +
                      ": The data entered is not valid. (a speed is a fan's index and "
                      "its revolutions per minute, e.g. 0=1200)");
  }
  expectRefused(run({"fansets", "add", "Quiet", "F0=1200", "F0=1300"}),
                "F0: The data entered is not valid. (this fan has two speeds)");
  for (const char* blank : {"", "  "}) {
    expectRefused(run({"fansets", "add", blank, "F0=1200"}),
                  "NAME: The data entered is not valid. (a fan set needs a name)");
  }
  EXPECT_EQ(run({"fansets", "add", "Quiet"}).status, 2);
  EXPECT_TRUE(sets().empty());
}

TEST_F(KelvoraFanSets, ASetIsChosenByHandAndGivenBack) {
  run({"fansets", "add", "Quiet", "F0=1200"});
  run({"fansets", "add", "Fast", "F0=5000"});
  EXPECT_EQ(run({"fansets", "use", "Fast"}).status, 0);
  EXPECT_THAT(run({"fansets"}).standardOutput, EndsWith("F0=5000  applies by hand\n"));
  EXPECT_EQ(sets().at(1).at("isManual"), true);
  EXPECT_EQ(sets().at(0).at("isManual"), false);
  EXPECT_EQ(run({"fansets", "automatic"}).standardOutput,
            "no fan set by hand; the conditions choose\n");
  EXPECT_EQ(sets().at(1).at("isManual"), false);
  EXPECT_EQ(jsonOf({"fansets"}).at("applies"), nullptr);
  EXPECT_EQ(jsonOf({"fansets", "automatic"}), jsonOf({"fansets"}));
}

TEST_F(KelvoraFanSets, GivingBackIsNotUndoneByTheOlderKey) {
  run({"fansets", "add", "Quiet", "F0=1200"});
  const std::string identifier = sets().at(0).at("identifier");
  platform->userDefaults()
      .suite(kApplicationGroupIdentifier)
      ->setObject("KVFanControllerFanSetNameKey", identifier);
  EXPECT_EQ(jsonOf({"fansets"}).at("applies"), identifier);
  run({"fansets", "automatic"});
  EXPECT_EQ(jsonOf({"fansets"}).at("applies"), nullptr);
}

TEST_F(KelvoraFanSets, AnUnknownOrAmbiguousSetIsRefused) {
  run({"fansets", "add", "Quiet", "F0=1200"});
  expectRefused(run({"fansets", "use", "Quite"}),
                "Quite: The data entered is not valid. (did you mean Quiet?)");
  expectRefused(run({"fansets", "add", "Quiet", "F0=1300"}),
                "Quiet: The data entered is not valid. (there is a fan set of this name already)");
  KVDataManager manager(*platform);
  KVCoreDataStore& store = manager.coreDataStore();
  store.createFanSetWithName("Quiet", {{"F0", 1300.0}})->setIdentifier("7");
  ASSERT_EQ(store.viewContext()->save(), std::nullopt);
  expectRefused(
      run({"fansets", "remove", "Quiet"}),
      "Quiet: The data entered is not valid. (several fan sets have this name; name one by "
      "its identifier)");
  EXPECT_EQ(run({"fansets", "remove", sets().at(0).at("identifier")}).status, 0);
  ASSERT_EQ(sets().size(), 1U);
  EXPECT_EQ(sets().at(0).at("speeds"), (json{{"F0", 1300.0}}));
}

TEST_F(KelvoraFanSets, ASetGoesWithItsConditions) {
  addSensor();
  run({"fansets", "add", "Quiet", "F0=1200"});
  run({"conditions", "add", "Quiet", "TC0P", "--threshold", "80"});
  EXPECT_EQ(jsonOf({"fansets", "remove", "Quiet"}).at("name"), "Quiet");
  EXPECT_TRUE(sets().empty());
  EXPECT_TRUE(conditions().empty());
}

TEST_F(KelvoraFanSets, SpeedsOfAnotherProgramAreShownAsTheyAre) {
  {
    const auto store = makeStore();
    store->createFanSetWithName("Foreign", {{"left", "fast"}, {"boost", true}});
    store->createFanSetWithName("Damaged", {})->setValue({std::byte{1}});
    store->saveViewContext();
  }
  const std::string text = run({"fansets"}).standardOutput;
  EXPECT_THAT(text, HasSubstr("boost=true left=fast"));
  EXPECT_THAT(text, HasSubstr("no speeds"));
}

using KelvoraConditions = KelvoraFanSets;

TEST_F(KelvoraConditions, AnAddedConditionIsListedAndApplies) {
  addSensor(82);
  run({"fansets", "add", "Fast", "F0=5000"});
  const ProgramResult added = run({"conditions", "add", "Fast", "TC0P", "--threshold", "80"});
  EXPECT_EQ(added.status, 0) << added.standardError;
  const json condition = conditions().at(0);
  EXPECT_EQ(added.standardOutput,
            idOf(condition) + "  Fast  TC0P from 80°C  battery: any  any display  enabled\n");
  EXPECT_EQ(run({"conditions"}).standardOutput, added.standardOutput);
  EXPECT_EQ(condition, (json{{"id", condition.at("id")},
                             {"fanSet", "Fast"},
                             {"sensorKey", "TC0P"},
                             {"threshold", 80.0},
                             {"unit", "°C"},
                             {"batteryState", 0},
                             {"externalDisplayConnected", false},
                             {"active", true},
                             {"sensorIsStored", true}}));
  EXPECT_EQ(jsonOf({"fansets"}).at("applies"), sets().at(0).at("identifier"));
}

TEST_F(KelvoraConditions, EveryRequirementIsStored) {
  addSensor();
  run({"fansets", "add", "Fast", "F0=5000"});
  const std::vector<std::string> names = {"any", "battery", "adapter"};
  for (std::size_t state = 0; state < names.size(); ++state) {
    const json added = jsonOf({"conditions", "add", "Fast", "TC0P", "--threshold", "85.5",
                               "--battery", names[state], "--external-display"});
    EXPECT_EQ(added.at("batteryState"), state);
    EXPECT_EQ(added.at("externalDisplayConnected"), true);
    EXPECT_EQ(added.at("threshold"), 85.5);
  }
  EXPECT_THAT(run({"conditions"}).standardOutput,
              HasSubstr("battery: adapter  external display  enabled\n"));
  EXPECT_EQ(conditions().size(), 3U);
}

TEST_F(KelvoraConditions, AreDisabledEnabledAndRemovedById) {
  addSensor(82);
  run({"fansets", "add", "Fast", "F0=5000"});
  run({"conditions", "add", "Fast", "TC0P", "--threshold", "80"});
  run({"conditions", "add", "Fast", "TC0P", "--threshold", "90"});
  const std::string id = idOf(conditions().at(0));
  EXPECT_THAT(run({"conditions", "disable", id}).standardOutput, EndsWith("  disabled\n"));
  EXPECT_EQ(conditions().at(0).at("active"), false);
  EXPECT_EQ(conditions().at(1).at("active"), true);
  EXPECT_EQ(jsonOf({"fansets"}).at("applies"), nullptr);
  EXPECT_EQ(jsonOf({"conditions", "enable", id}).at("active"), true);
  EXPECT_EQ(conditions().at(0).at("active"), true);
  EXPECT_EQ(jsonOf({"conditions", "remove", id}).at("threshold"), 80.0);
  ASSERT_EQ(conditions().size(), 1U);
  run({"conditions", "add", "Fast", "TC0P", "--threshold", "70"});
  EXPECT_THAT(run({"conditions", "remove", idOf(conditions().at(1))}).standardOutput,
              StartsWith("Removed "));
  EXPECT_EQ(conditions().at(0).at("threshold"), 90.0);
  expectRefused(
      run({"conditions", "remove", id}),
      id + ": The data entered is not valid. ('kelvora conditions' lists the fan conditions "
           "with their ids)");
}

TEST_F(KelvoraConditions, WithoutASetOrASensorNothingIsAdded) {
  addSensor();
  expectRefused(run({"conditions", "add", "Fast", "TC0P", "--threshold", "80"}),
                "Fast: The data entered is not valid. ('kelvora fansets' lists the fan sets)");
  run({"fansets", "add", "Fast", "F0=5000"});
  expectRefused(run({"conditions", "add", "Fast", "TC0Q", "--threshold", "80"}),
                "TC0Q: The sensor key is not valid. (did you mean TC0P?)");
  expectRefused(run({"conditions", "add", "Fast", "TC0P", "--threshold", "inf"}),
                "--threshold: The data entered is not valid. (it takes a number, e.g. 85)");
  EXPECT_EQ(run({"conditions", "add", "Fast", "TC0P"}).status, 2);
  EXPECT_EQ(
      run({"conditions", "add", "Fast", "TC0P", "--threshold", "80", "--battery", "x"}).status, 2);
  EXPECT_TRUE(conditions().empty());
}

TEST_F(KelvoraConditions, AConditionOfASensorThatIsGoneIsMarked) {
  addSensor();
  run({"fansets", "add", "Fast", "F0=5000"});
  run({"conditions", "add", "Fast", "TC0P", "--threshold", "80"});
  {
    const auto store = makeStore();
    store->viewContext()->deleteObject(store->getSensorByKey("TC0P"));
    store->saveViewContext();
  }
  EXPECT_EQ(conditions().at(0).at("sensorIsStored"), false);
  EXPECT_THAT(run({"conditions"}).standardOutput, HasSubstr("TC0P from 80 (no such sensor)"));
}

TEST_F(KelvoraConditions, AStoreThatCannotBeReadIsReported) {
  const std::string path =
      temporary.write(std::string(kApplicationGroupIdentifier) + "/Database.sqlite", "no database");
  for (const char* command : {"fansets", "conditions"}) {
    const ProgramResult result = run({command});
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_EQ(result.standardError,
              "kelvora: " + path + ": file is not a database ('kelvora doctor' says more)\n")
        << command;
  }
  EXPECT_EQ(run({"fansets", "add", "Quiet", "F0=1200"}).status, 1);
  EXPECT_EQ(run({"fansets", "use", "Quiet"}).status, 1);
  EXPECT_EQ(temporary.read(std::string(kApplicationGroupIdentifier) + "/Database.sqlite"),
            "no database");
}

}  // namespace
}  // namespace kelvora::testing
