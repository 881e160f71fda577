#include <cmath>
#include <locale>
#include <string>

#include <SQLiteCpp/Database.h>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using engine::makeContext;
using engine::PersistentStoreCoordinator;

constexpr const char* kOld = R"({"entities": [
  {"name": "Sensor", "attributes": [{"name": "key", "type": "String"}]}]})";
constexpr const char* kNew = R"({"entities": [
  {"name": "Category", "attributes": [{"name": "name", "type": "String"}],
   "relationships": [{"name": "sensors", "destination": "Sensor", "inverse": "category",
                      "toMany": true, "ordered": true}]},
  {"name": "Sensor", "attributes": [
     {"name": "key", "type": "String"},
     {"name": "value", "type": "Double", "optional": false, "default": -1.5},
     {"name": "label", "type": "String", "default": "it's \"new\""},
     {"name": "count", "type": "Int64", "default": -7},
     {"name": "flag", "type": "Boolean", "default": true}],
   "relationships": [{"name": "category", "destination": "Category", "inverse": "sensors"}],
   "indexes": [["key"]]}]})";
constexpr const char* kForeign = R"({"entities": [
  {"name": "Sensor", "attributes": [{"name": "key", "type": "Int64"}]}]})";

class MigrationTest : public testing::StoreFixture {
 protected:
  MigrationTest() { std::filesystem::create_directories(folder()); }
  std::shared_ptr<PersistentStoreCoordinator> open(const char* model) {
    std::string problem;
    auto parsed = engine::modelFromText(model, &problem);
    EXPECT_EQ(problem, "");
    auto coordinator =
        std::make_shared<PersistentStoreCoordinator>(parsed, engine::EntityClasses());
    coordinator->addStore(storePath(), 1000);
    return coordinator;
  }
  ManagedObjectContextPtr contextOn(const std::shared_ptr<PersistentStoreCoordinator>& on) {
    return makeContext(on, nullptr, std::make_unique<engine::PrivateContextQueue>());
  }
  void writeWith(const char* model) {
    const auto context = contextOn(open(model));
    context->insertNewObject("Sensor")->setAttribute("key", ManagedValue(std::string("TC0P")));
    ASSERT_EQ(context->save(), std::nullopt);
  }
};

TEST_F(MigrationTest, AnOlderFileOpensWithItsDataAndTheDefaultsOfWhatIsNew) {
  writeWith(kOld);
  const auto context = contextOn(open(kNew));
  const auto sensors = context->objectsOf("Sensor").value();
  ASSERT_EQ(sensors.size(), 1U);
  EXPECT_EQ(sensors[0]->attribute("key"), ManagedValue(std::string("TC0P")));
  EXPECT_EQ(sensors[0]->attribute("value"), ManagedValue(-1.5));
  EXPECT_EQ(sensors[0]->attribute("label"), ManagedValue(std::string("it's \"new\"")));
  EXPECT_EQ(sensors[0]->attribute("count"), ManagedValue(std::int64_t{-7}));
  EXPECT_EQ(sensors[0]->attribute("flag"), ManagedValue(true));
  const auto category = context->insertNewObject("Category");
  category->addMember("sensors", sensors[0]);
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(contextOn(open(kNew))->objectOf("Category", std::nullopt)->countOfMembers("sensors"),
            1U);
}

TEST_F(MigrationTest, ADecimalDefaultIsTheSameInALocaleWithADecimalComma) {
  struct DecimalComma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  writeWith(kOld);
  const std::locale before =
      std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
  const auto coordinator = open(kNew);
  std::locale::global(before);
  const auto sensors = contextOn(coordinator)->objectsOf("Sensor");
  ASSERT_TRUE(sensors.has_value());
  EXPECT_EQ(sensors->at(0)->attribute("value"), ManagedValue(-1.5));
}

TEST_F(MigrationTest, AMigratedFileHasTheIndexesOfANewOne) {
  writeWith(kOld);
  open(kNew);
  SQLite::Database database(storePath());
  EXPECT_EQ(database
                .execAndGet("SELECT count(*) FROM sqlite_master WHERE type = 'index' AND "
                            "name IN ('Sensor_key', 'Sensor_category')")
                .getInt(),
            2);
}

TEST_F(MigrationTest, ANewerFileLeavesTheCoordinatorWithoutAStore) {
  writeWith(kNew);
  const auto coordinator = open(kOld);
  EXPECT_FALSE(coordinator->hasStore());
  const auto context = contextOn(coordinator);
  EXPECT_EQ(context->objectsOf("Sensor"), std::nullopt);
  context->insertNewObject("Sensor");
  EXPECT_EQ(context->objectsOf("Sensor"), std::nullopt);
  EXPECT_EQ(context->save(), "there is no store: the file was written with another model");
  EXPECT_TRUE(open(kNew)->hasStore());
}

TEST_F(MigrationTest, AnAttributeOfAnotherTypeIsNotAnAddition) {
  writeWith(kOld);
  EXPECT_FALSE(open(kForeign)->hasStore());
  EXPECT_TRUE(open(kOld)->hasStore());
}

TEST_F(MigrationTest, ADatabaseOfSomethingElseIsLeftAlone) {
  {
    SQLite::Database database(storePath(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    database.exec("CREATE TABLE Sensor (key TEXT); INSERT INTO Sensor VALUES ('x')");
  }
  EXPECT_FALSE(open(kOld)->hasStore());
  SQLite::Database database(storePath());
  EXPECT_EQ(database.execAndGet("SELECT count(*) FROM sqlite_master").getInt(), 1);
}

TEST_F(MigrationTest, ChangedIndexesAndRulesKeepTheFileOpen) {
  constexpr const char* kOtherRule = R"({"entities": [
    {"name": "Sensor", "attributes": [{"name": "key", "type": "String", "optional": false,
     "default": "none"}], "indexes": [["key"]]}]})";
  writeWith(kOld);
  EXPECT_TRUE(open(kOtherRule)->hasStore());
  EXPECT_TRUE(open(kOld)->hasStore());
}

TEST_F(MigrationTest, IndexesThatTheModelHasNoMoreAreDropped) {
  constexpr const char* kIndexed = R"({"entities": [
    {"name": "Sensor", "attributes": [{"name": "key", "type": "String"}], "indexes": [["key"]]}]})";
  const auto indexes = [this] {
    return SQLite::Database(storePath())
        .execAndGet("SELECT count(*) FROM sqlite_master WHERE name = 'Sensor_key'")
        .getInt();
  };
  writeWith(kIndexed);
  EXPECT_EQ(indexes(), 1);
  EXPECT_TRUE(open(kOld)->hasStore());
  EXPECT_EQ(indexes(), 0);
  EXPECT_TRUE(open(kIndexed)->hasStore());
  EXPECT_EQ(indexes(), 1);
}

TEST_F(MigrationTest, OnlyANumberThatMustBeThereReadsAsNotANumberWithoutAValue) {
  constexpr const char* kNumbers = R"({"entities": [
    {"name": "Sensor", "attributes": [
      {"name": "key", "type": "String"}, {"name": "maybe", "type": "Double"}]}]})";
  writeWith(kNumbers);
  const auto context = contextOn(open(kNumbers));
  EXPECT_EQ(context->objectOf("Sensor", std::nullopt)->attribute("maybe"), ManagedValue());
}

TEST_F(MigrationTest, WhatMustBeThereNowHasItsDefaultWhereItWasNil) {
  const auto model = [](const char* more) {
    return R"({"entities": [{"name": "Sensor", "attributes": [{"name": "key", "type": "String"},)"
           R"({"name": "value", "type": "Double", "default": -1.5)" +
           std::string(more) + R"(}, {"name": "count", "type": "Int64", "default": 4)" + more +
           R"(}, {"name": "bare", "type": "Int64")" + more + "}]}]}";
  };
  {
    const auto context = contextOn(open(model("").c_str()));
    const auto set = context->insertNewObject("Sensor");
    set->setAttribute("value", ManagedValue(2.5));
    const auto bare = context->insertNewObject("Sensor");
    bare->setAttribute("value", ManagedValue());
    bare->setAttribute("count", ManagedValue());
    ASSERT_EQ(context->save(), std::nullopt);
  }
  const auto required = model(R"(, "optional": false)");
  const auto sensors = contextOn(open(required.c_str()))->objectsOf("Sensor").value();
  ASSERT_EQ(sensors.size(), 2U);
  EXPECT_EQ(sensors[0]->attribute("value"), ManagedValue(2.5));
  EXPECT_EQ(sensors[0]->attribute("count"), ManagedValue(std::int64_t{4}));
  EXPECT_EQ(sensors[1]->attribute("value"), ManagedValue(-1.5));
  EXPECT_EQ(sensors[1]->attribute("count"), ManagedValue(std::int64_t{4}));
  EXPECT_EQ(sensors[1]->attribute("bare"), ManagedValue());
}

TEST_F(MigrationTest, ANotANumberThatWasRequiredAlreadyStays) {
  constexpr const char* kRequired = R"({"entities": [{"name": "Sensor", "attributes": [
    {"name": "value", "type": "Double", "optional": false, "default": 1}]}]})";
  constexpr const char* kLater = R"({"entities": [{"name": "Sensor", "attributes": [
    {"name": "value", "type": "Double", "optional": false, "default": 1},
    {"name": "key", "type": "String"}]}]})";
  {
    const auto context = contextOn(open(kRequired));
    context->insertNewObject("Sensor")->setAttribute("value", ManagedValue(std::nan("")));
    ASSERT_EQ(context->save(), std::nullopt);
  }
  const auto sensor = contextOn(open(kLater))->objectOf("Sensor", std::nullopt);
  EXPECT_TRUE(std::isnan(std::get<double>(sensor->attribute("value"))));
}
}  // namespace
}  // namespace kelvora
