#include <SQLiteCpp/Database.h>

#include "tests/engine/StatementHook.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RelationshipsTest : public testing::StoreFixture {
 protected:
  KVSensorPtr sensor(const std::string& key) { return store->createSensorWithKey(key, view); }
  std::vector<std::string> reopened() {
    return testing::keysOf(makeStore()->getCategoryWithType(0)->sensors());
  }
  std::unique_ptr<KVCoreDataStore> store = makeStore();
  ManagedObjectContextPtr view = store->viewContext();
  KVCategoryPtr category = addCategory(*store, "Temperature", 0);
};

TEST_F(RelationshipsTest, BothSidesAgreeWhicheverIsSet) {
  const auto a = sensor("a");
  const auto b = sensor("b");
  EXPECT_THAT(category->sensors(), IsEmpty());
  a->setCategory(category);
  EXPECT_THAT(category->sensors(), ElementsAre(a));
  category->addToSensors(b);
  EXPECT_EQ(b->category(), category);
  category->removeFromSensors(a);
  EXPECT_EQ(a->category(), nullptr);
  const auto fan = addCategory(*store, "Fan", 1);
  fan->addToSensors(b);
  EXPECT_EQ(b->category(), fan);
  EXPECT_THAT(category->sensors(), IsEmpty());
  EXPECT_THAT(fan->sensors(), ElementsAre(b));
  b->setCategory(nullptr);
  EXPECT_THAT(fan->sensors(), IsEmpty());
}

TEST_F(RelationshipsTest, TheOrderSurvivesInsertionMoveRemovalAndReopening) {
  for (const char* key : {"a", "b", "c", "d"}) {
    category->addToSensors(sensor(key));
  }
  store->saveViewContext();
  EXPECT_THAT(reopened(), ElementsAre("a", "b", "c", "d"));
  category->insertIntoSensors(sensor("x"), 0);
  category->insertIntoSensors(sensor("y"), 2);
  category->addToSensors(sensor("a"));
  category->removeFromSensors(sensor("c"));
  category->insertIntoSensors(sensor("d"), 99);
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("x", "y", "b", "a", "d"));
  store->saveViewContext();
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("x", "y", "b", "a", "d"));
  EXPECT_THAT(reopened(), ElementsAre("x", "y", "b", "a", "d"));
}

TEST_F(RelationshipsTest, InsertingAtOnePlaceForEverKeepsTheOrder) {
  category->addToSensors(sensor("first"));
  category->addToSensors(sensor("last"));
  store->saveViewContext();
  std::vector<std::string> expected{"first", "last"};
  for (int i = 0; i < 60; ++i) {
    const std::string key = "k" + std::to_string(i);
    category->insertIntoSensors(sensor(key), 1);
    expected.insert(expected.begin() + 1, key);
    if (i % 7 == 0) {
      store->saveViewContext();
    }
  }
  EXPECT_EQ(testing::keysOf(category->sensors()), expected);
  store->saveViewContext();
  EXPECT_EQ(reopened(), expected);
}

TEST_F(RelationshipsTest, AssigningTheMembersSetsTheirOrder) {
  const auto a = sensor("a");
  const auto b = sensor("b");
  const auto c = sensor("c");
  category->setSensors({a, b});
  store->saveViewContext();
  category->setSensors({c, b, b});
  EXPECT_THAT(category->sensors(), ElementsAre(c, b));
  EXPECT_EQ(a->category(), nullptr);
  store->saveViewContext();
  EXPECT_THAT(reopened(), ElementsAre("c", "b"));
  category->setSensors({c, a, b});
  store->saveViewContext();
  EXPECT_THAT(reopened(), ElementsAre("c", "a", "b"));
}

TEST_F(RelationshipsTest, TwoProgramsThatAppendKeepTheOrderOfTheirSaves) {
  category->addToSensors(sensor("a"));
  store->saveViewContext();
  const auto other = makeStore();
  other->getCategoryWithType(0)->addToSensors(
      other->createSensorWithKey("b", other->viewContext()));
  category->addToSensors(sensor("c"));
  other->saveViewContext();
  store->saveViewContext();
  EXPECT_THAT(reopened(), ElementsAre("a", "b", "c"));
  category->addToSensors(sensor("saved later"));
  other->getCategoryWithType(0)->addToSensors(
      other->createSensorWithKey("saved first", other->viewContext()));
  other->saveViewContext();
  store->saveViewContext();
  EXPECT_THAT(reopened(), ElementsAre("a", "b", "c", "saved first", "saved later"));
}

TEST_F(RelationshipsTest, AppendingReadsNoMemberHoweverManyThereAre) {
  const auto owner = sensor("owner");
  constexpr int kPoints = 100000;
  for (int i = 0; i < kPoints; ++i) {
    store->createGraphPoint()->setSensor(owner);
  }
  store->saveViewContext();
  ASSERT_EQ(view->state()->registeredObjects(), 2U);  // owner and category
  const auto point = store->createGraphPoint();
  owner->addToGraphPoints(point);
  EXPECT_EQ(view->state()->registeredObjects(), 3U);
  store->saveViewContext();
  const auto points = owner->graphPoints();
  ASSERT_EQ(points.size(), kPoints + 1U);
  EXPECT_EQ(points.back(), point);
}

TEST_F(RelationshipsTest, AnOwnerIsLookedUpOnceForAllTheMembersOfASave) {
  const testing::StatementHook hook;
  const auto counted = makeStore();
  const auto sensor = counted->createSensorWithKey("TC0P", counted->viewContext());
  counted->saveViewContext();
  const auto rowsReadToSave = [&](int points) {
    for (int point = 0; point < points; ++point) {
      counted->createGraphPoint()->setSensor(sensor);
    }
    const std::size_t before = testing::StatementHook::rows();
    counted->saveViewContext();
    return testing::StatementHook::rows() - before;
  };
  rowsReadToSave(1);  // the first also counts the rows of the history
  const std::size_t ofOne = rowsReadToSave(1);
  EXPECT_EQ(rowsReadToSave(100), ofOne);
}

TEST_F(RelationshipsTest, HistoryKeepsItsOrderAcrossTheBatchesOfItsIndex) {
  constexpr int kSaves = 150;
  constexpr int kSensors = 170;  // 25,500 rows: a batch is entered on the way
  std::vector<KVSensorPtr> sensors;
  for (int s = 0; s < kSensors; ++s) {
    sensors.push_back(sensor("s" + std::to_string(s)));
  }
  for (int i = 0; i < kSaves; ++i) {
    for (const KVSensorPtr& owner : sensors) {
      const auto point = store->createGraphPoint();
      point->setPointX(i);
      point->setSensor(owner);
    }
    store->saveViewContext();
  }
  const auto check = [](const std::vector<KVGraphPointPtr>& points) {
    ASSERT_EQ(points.size(), static_cast<std::size_t>(kSaves));
    for (std::size_t i = 0; i < points.size(); ++i) {
      EXPECT_EQ(points[i]->pointX(), static_cast<double>(i));
    }
  };
  SQLite::Database database(storePath());
  EXPECT_EQ(database.execAndGet("SELECT count(*) FROM GraphPoint WHERE _recent = 1").getInt(),
            8 * kSensors);
  const auto reader = makeStore();
  check(reader->getSensorByKey("s169")->graphPoints());
  const auto found = reader->viewContext()->objectsOf(
      "GraphPoint", Predicate("sensor = %@ AND pointX >= 10", {reader->getSensorByKey("s3")}));
  EXPECT_EQ(found->size(), kSaves - 10U);
}

TEST_F(RelationshipsTest, GraphPointsGoWithTheirSensor) {
  const auto owner = sensor("owner");
  for (int i = 0; i < 3; ++i) {
    store->createGraphPoint()->setSensor(owner);
  }
  store->saveViewContext();
  const auto other = makeStore();
  other->createGraphPoint()->setSensor(other->getSensorByKey("owner"));
  EXPECT_EQ(owner->graphPoints().size(), 3U);
  other->saveViewContext();
  view->deleteObject(owner);
  EXPECT_THAT(view->objectsOf("GraphPoint", Predicate("timeRange = 0 AND sensor = nil")).value(),
              IsEmpty());
  store->saveViewContext();
  // Also the point that this program never saw.
  EXPECT_THAT(makeStore()->viewContext()->objectsOf("GraphPoint").value(), IsEmpty());
}

TEST_F(RelationshipsTest, SensorsLoseTheirCategoryWhenItGoes) {
  const auto a = sensor("a");
  a->setCategory(category);
  store->saveViewContext();
  view->deleteObject(category);
  EXPECT_EQ(a->category(), nullptr);
  store->saveViewContext();
  const auto reader = makeStore();
  EXPECT_EQ(reader->getSensorByKey("a")->category(), nullptr);
  EXPECT_EQ(reader->viewContext()->objectsOf("Sensor", Predicate("category = nil"))->size(), 1U);
}

TEST_F(RelationshipsTest, FanConditionsGoWithTheirFanSet) {
  const auto set = std::dynamic_pointer_cast<KVFanSet>(view->insertNewObject("FanSet"));
  const auto condition =
      std::dynamic_pointer_cast<KVFanCondition>(view->insertNewObject("FanCondition"));
  condition->setFanSet(set);
  EXPECT_THAT(set->fanConditions(), ElementsAre(condition));
  store->saveViewContext();
  view->deleteObject(condition);
  EXPECT_THAT(set->fanConditions(), IsEmpty());
  view->insertNewObject("FanCondition")->setRelated("fanSet", set);
  store->saveViewContext();
  view->deleteObject(set);
  store->saveViewContext();
  const auto reader = makeStore()->newContext();
  EXPECT_THAT(makeStore()->viewContext()->objectsOf("FanCondition").value(), IsEmpty());
}

TEST_F(RelationshipsTest, AChildMovesMembersForItsParent) {
  for (const char* key : {"a", "b", "c"}) {
    category->addToSensors(sensor(key));
  }
  store->saveViewContext();
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a", "b", "c"));
  const auto child = store->newContext();
  const auto childs = std::dynamic_pointer_cast<KVCategory>(child->objectFor(category));
  childs->insertIntoSensors(store->getSensorByKey("c", child), 0);
  childs->addToSensors(store->createSensorWithKey("d", child));
  child->deleteObject(store->getSensorByKey("a", child));
  EXPECT_THAT(testing::keysOf(childs->sensors()), ElementsAre("c", "b", "d"));
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a", "b", "c"));
  child->saveRecursively();
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("c", "b", "d"));
  EXPECT_THAT(testing::keysOf(childs->sensors()), ElementsAre("c", "b", "d"));
  EXPECT_THAT(reopened(), ElementsAre("c", "b", "d"));
}

TEST_F(RelationshipsTest, WhatAChildAppendedFirstComesFirstInMemoryAsInTheFile) {
  const auto first = sensor("a");  // held, so that the list stays in memory
  category->addToSensors(first);
  store->saveViewContext();
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a"));
  const auto child = store->newContext();
  std::dynamic_pointer_cast<KVCategory>(child->objectFor(category))
      ->addToSensors(store->createSensorWithKey("b", child));
  const auto mine = sensor("c");
  category->addToSensors(mine);
  EXPECT_EQ(child->save(), std::nullopt);
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a", "b", "c"));
  store->saveViewContext();
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a", "b", "c"));
  EXPECT_THAT(reopened(), ElementsAre("a", "b", "c"));
}

TEST_F(RelationshipsTest, SettingTheSameAgainIsNotAChange) {
  const auto a = sensor("a");
  category->setSensors({a, sensor("b")});
  store->saveViewContext();
  a->setCategory(category);
  category->setSensors({a, sensor("b")});
  EXPECT_FALSE(view->hasChanges());
  EXPECT_THAT(reopened(), ElementsAre("a", "b"));
}

TEST_F(RelationshipsTest, AMemberThatAChildMovesLeavesItsListEvenWithoutAHandle) {
  category->addToSensors(sensor("a"));
  const auto fan = addCategory(*store, "Fan", 1);
  store->saveViewContext();
  EXPECT_EQ(category->sensors().size(), 1U);
  const auto child = store->newContext();
  const auto childs = store->getSensorByKey("a", child);
  childs->setCategory(std::dynamic_pointer_cast<KVCategory>(child->objectFor(fan)));
  EXPECT_EQ(child->save(), std::nullopt);
  EXPECT_THAT(category->sensors(), IsEmpty());
  EXPECT_THAT(testing::keysOf(fan->sensors()), ElementsAre("a"));
}

TEST_F(RelationshipsTest, AListStaysInMemoryWhenOneOfItsMembersIsDeleted) {
  const auto a = sensor("a");
  auto b = sensor("b");
  category->setSensors({a, b});
  store->saveViewContext();
  EXPECT_THAT(category->sensors(), ElementsAre(a, b));
  view->deleteObject(b);
  store->saveViewContext();
  b.reset();
  const auto before = store->persistentStoreCoordinator()->reads();
  EXPECT_THAT(category->sensors(), ElementsAre(a));
  EXPECT_EQ(store->persistentStoreCoordinator()->reads(), before);
}
}  // namespace
}  // namespace kelvora
