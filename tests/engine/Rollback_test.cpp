#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Rollback : public testing::StoreFixture {
 protected:
  Rollback() {
    category = addCategory(*store, "Temperature", 0);
    sensor = addSensor(*store, "a", category);
    sensor->setValue(1);
    store->createGraphPoint()->setSensor(sensor);
    store->saveViewContext();
  }
  std::vector<std::string> keys() const { return testing::keysOf(store->allSensors().value()); }
  void rollBack() const {
    store->viewContext()->rollback();
    EXPECT_FALSE(store->viewContext()->hasChanges());
  }

  std::unique_ptr<KVCoreDataStore> store = makeStore();
  KVCategoryPtr category;
  KVSensorPtr sensor;
};

TEST_F(Rollback, ANewObjectIsDeleted) {
  const KVSensorPtr made = addSensor(*store, "b", category);
  rollBack();
  EXPECT_TRUE(made->isDeleted());
  EXPECT_THAT(keys(), ElementsAre("a"));
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a"));
  store->saveViewContext();
  EXPECT_EQ(makeStore()->allSensors()->size(), 1U);
}

TEST_F(Rollback, AChangedObjectIsAsStored) {
  sensor->setValue(2);
  sensor->setCategory(nullptr);
  EXPECT_THAT(category->sensors(), IsEmpty());
  rollBack();
  EXPECT_FALSE(sensor->hasChanges());
  EXPECT_EQ(sensor->value(), 1);
  EXPECT_EQ(sensor->category(), category);
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a"));
}

TEST_F(Rollback, ADeletedObjectIsThereWithItsMembers) {
  store->viewContext()->deleteObject(sensor);
  rollBack();
  EXPECT_FALSE(sensor->isDeleted());
  EXPECT_EQ(sensor->value(), 1);
  EXPECT_EQ(sensor->graphPoints().size(), 1U);
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("a"));
  EXPECT_EQ(store->getSensorByKey("a"), sensor);
}

TEST_F(Rollback, WhatAnotherProgramStoredSinceIsReadAndStays) {
  sensor->setValue(2);
  const auto other = makeStore();
  other->getSensorByKey("a")->setValue(3);
  other->saveViewContext();
  rollBack();
  EXPECT_EQ(sensor->value(), 3);
  sensor->setName("changed again");
  store->saveViewContext();
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 3);
  EXPECT_EQ(makeStore()->getSensorByKey("a")->name(), "changed again");
}

TEST_F(Rollback, ARolledBackObjectCanBeChangedAndDeletedAgain) {
  sensor->setValue(2);
  rollBack();
  sensor->setValue(4);
  EXPECT_TRUE(sensor->isUpdated());
  store->saveViewContext();
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 4);
  store->viewContext()->deleteObject(sensor);
  rollBack();
  store->viewContext()->deleteObject(sensor);
  store->saveViewContext();
  EXPECT_THAT(makeStore()->allSensors().value(), IsEmpty());
}

TEST_F(Rollback, AChildSeesItsParentsRollback) {
  store->viewContext()->setStalenessInterval(0);
  const auto child = store->newContext();
  const KVSensorPtr ofChild = store->getSensorByKey("a", child);
  sensor->setValue(2);
  EXPECT_EQ(ofChild->value(), 2);
  rollBack();
  EXPECT_EQ(ofChild->value(), 1);
}

TEST_F(Rollback, OfAChildLeavesItsParentsChanges) {
  sensor->setValue(2);
  const auto child = store->newContext();
  const KVSensorPtr ofChild = store->getSensorByKey("a", child);
  ofChild->setValue(3);
  child->rollback();
  EXPECT_EQ(ofChild->value(), 2);
  EXPECT_EQ(sensor->value(), 2);
}

}  // namespace
}  // namespace kelvora
