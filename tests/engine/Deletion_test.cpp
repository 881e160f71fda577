#include <SQLiteCpp/Database.h>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What goes with an object may lead on to any depth, and back to it.
constexpr const char* kTree = R"({"entities": [
  {"name": "Node", "attributes": [{"name": "name", "type": "String"}], "relationships": [
    {"name": "parent", "destination": "Node", "inverse": "children"},
    {"name": "children", "destination": "Node", "inverse": "parent", "toMany": true,
     "deleteRule": "cascade"}]}]})";

class TreeDeletionTest : public testing::StoreFixture {
 protected:
  TreeDeletionTest() {
    std::filesystem::create_directories(folder());
    context = open();
  }
  ManagedObjectContextPtr open() {
    auto coordinator = std::make_shared<engine::PersistentStoreCoordinator>(
        engine::modelFromText(kTree), engine::EntityClasses());
    EXPECT_EQ(coordinator->addStore(storePath(), 1000), std::nullopt);
    return makeContext(coordinator, nullptr, std::make_unique<engine::PrivateContextQueue>());
  }
  ManagedObjectPtr node(const ManagedObjectPtr& parent) {
    ManagedObjectPtr made = context->insertNewObject("Node");
    made->setRelated("parent", parent);
    return made;
  }
  void executeInFile(const std::string& sql) {
    SQLite::Database(storePath(), SQLite::OPEN_READWRITE).exec(sql);
  }
  int rowsInFile() {
    return SQLite::Database(storePath()).execAndGet("SELECT count(*) FROM Node").getInt();
  }
  ManagedObjectContextPtr context;
};

TEST_F(TreeDeletionTest, ARingGoesWhole) {
  const auto first = node(nullptr);
  const auto second = node(first);
  first->setRelated("parent", second);
  const auto outside = node(nullptr);
  ASSERT_EQ(context->save(), std::nullopt);
  context->deleteObject(first);
  EXPECT_TRUE(second->isDeleted());
  EXPECT_THAT(context->objectsOf("Node").value(), ElementsAre(outside));
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(rowsInFile(), 1);
}

TEST_F(TreeDeletionTest, AnOwnerOfItselfIsDeletedOnce) {
  const auto self = node(nullptr);
  self->setRelated("parent", self);
  context->deleteObject(self);
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(rowsInFile(), 0);
}

TEST_F(TreeDeletionTest, RowsThatOnlyOtherProgramsKnewGoToAnyDepth) {
  const auto root = node(nullptr);
  ASSERT_EQ(context->save(), std::nullopt);
  EXPECT_THAT(root->members("children"), IsEmpty());  // and stays so here
  const std::string id = std::to_string(root->objectID());
  executeInFile(
      "INSERT INTO Node (_id, parent) WITH RECURSIVE n(i) AS "
      "(SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) "
      "SELECT i, CASE i WHEN 1 THEN " +
      id + " ELSE i - 1 END FROM n");
  context->deleteObject(root);
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(rowsInFile(), 0);
}

TEST_F(TreeDeletionTest, ARingThatOnlyAnotherProgramKnewGoesWhole) {
  const auto root = node(nullptr);
  ASSERT_EQ(context->save(), std::nullopt);
  EXPECT_THAT(root->members("children"), IsEmpty());
  const std::string id = std::to_string(root->objectID());
  executeInFile("INSERT INTO Node (_id, parent) VALUES (1, " + id +
                "); UPDATE Node SET parent = 1 WHERE _id = " + id);
  context->deleteObject(root);
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(rowsInFile(), 0);
}

TEST_F(TreeDeletionTest, WhatLeadsToANewObjectWhoseOwnerIsGoneIsDroppedWithIt) {
  const auto owner = node(nullptr);
  ASSERT_EQ(context->save(), std::nullopt);
  executeInFile("DELETE FROM Node");
  const auto leaf = node(nullptr);  // before its owner, and so written before it
  const auto branch = node(owner);
  leaf->setRelated("parent", branch);
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(rowsInFile(), 0);
}

TEST_F(TreeDeletionTest, WhatIsMadeAfterAnOwnerThatIsGoneIsDroppedToo) {
  const auto owner = node(nullptr);
  ASSERT_EQ(context->save(), std::nullopt);
  executeInFile("DELETE FROM Node");
  node(node(owner));
  EXPECT_EQ(context->save(), std::nullopt);
  EXPECT_EQ(rowsInFile(), 0);
}

class DeletionTest : public testing::StoreFixture {
 protected:
  std::unique_ptr<KVCoreDataStore> store = makeStore();
  ManagedObjectContextPtr view = store->viewContext();
};

TEST_F(DeletionTest, WhatAChildMovedAwayBeforeDeletingTheOwnerStays) {
  const auto old = store->createSensorWithKey("old", view);
  const auto point = store->createGraphPoint();
  point->setSensor(old);
  const auto heir = store->createSensorWithKey("heir", view);
  store->saveViewContext();
  EXPECT_THAT(old->graphPoints(), ElementsAre(point));
  const auto child = store->newContext();
  std::dynamic_pointer_cast<KVGraphPoint>(child->objectFor(point))
      ->setSensor(store->getSensorByKey("heir", child));
  child->deleteObject(child->objectFor(old));
  child->saveRecursively();
  EXPECT_FALSE(point->isDeleted());
  EXPECT_THAT(heir->graphPoints(), ElementsAre(point));
  const auto reader = makeStore();
  EXPECT_EQ(reader->getSensorByKey("old"), nullptr);
  EXPECT_EQ(reader->getSensorByKey("heir")->graphPoints().size(), 1U);
}

TEST_F(DeletionTest, ADeletedOwnerHasNoMembers) {
  const auto category = addCategory(*store, "Temperature", 0);
  const auto sensor = addSensor(*store, "TC0P", category);
  store->createGraphPoint()->setSensor(sensor);
  store->saveViewContext();
  view->deleteObject(sensor);
  EXPECT_THAT(sensor->graphPoints(), IsEmpty());
  EXPECT_THAT(category->sensors(), IsEmpty());
  EXPECT_TRUE(sensor->isDeleted());
  view->deleteObject(sensor);
  store->saveViewContext();
  EXPECT_THAT(makeStore()->allSensors().value(), IsEmpty());
}

TEST_F(DeletionTest, MembersThatAnotherProgramAddedLoseTheirOwnerAndNothingElse) {
  const auto category = addCategory(*store, "Temperature", 0);
  store->saveViewContext();
  EXPECT_THAT(category->sensors(), IsEmpty());  // and stays so here
  const auto other = makeStore();
  addSensor(*other, "TC0P", other->getCategoryWithName("Temperature"), 1)->setName("CPU");
  other->saveViewContext();
  view->deleteObject(category);
  EXPECT_EQ(view->save(), std::nullopt);
  const auto reader = makeStore();
  const auto left = reader->sensorWhere(Predicate("category = nil"), reader->viewContext());
  ASSERT_NE(left, nullptr);
  EXPECT_EQ(left->key(), "TC0P");
  EXPECT_EQ(left->name(), "CPU");
  EXPECT_EQ(left->sourceType(), 1);
}

TEST_F(DeletionTest, ADeletedObjectKeepsItsValues) {
  const auto child = store->newContext();
  const auto childs = store->createSensorWithKey("TC0P", child);
  child->saveRecursively();
  const auto fault = view->objectFor(childs);
  EXPECT_TRUE(fault->isFault());
  view->deleteObject(fault);
  EXPECT_EQ(fault->attribute("key"), ManagedValue(std::string("TC0P")));
}

TEST_F(DeletionTest, DeletingAnObjectOfAnotherContextDeletesItsRow) {
  const auto sensor = store->createSensorWithKey("TC0P", view);
  store->saveViewContext();
  const auto child = store->newContext();
  const auto childs = store->getSensorByKey("TC0P", child);
  view->deleteObject(childs);
  EXPECT_TRUE(sensor->isDeleted());
  EXPECT_FALSE(childs->isDeleted());
  store->saveViewContext();
  EXPECT_THAT(makeStore()->allSensors().value(), IsEmpty());
}
}  // namespace
}  // namespace kelvora
