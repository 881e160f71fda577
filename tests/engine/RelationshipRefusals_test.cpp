#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RelationshipRefusalsTest : public testing::StoreFixture {
 protected:
  RelationshipRefusalsTest() { store->saveViewContext(); }
  void expectRefused(const ManagedObjectPtr& other) {
    EXPECT_FALSE(category->addMember("sensors", other));
    EXPECT_FALSE(category->insertMember("sensors", other, 0));
    EXPECT_FALSE(category->removeMember("sensors", other));
    EXPECT_FALSE(view->hasChanges());
    EXPECT_THAT(category->sensors(), ElementsAre(sensor));
  }
  void expectNoCategory(const ManagedObjectPtr& other) {
    EXPECT_FALSE(sensor->setRelated("category", other));
    EXPECT_FALSE(view->hasChanges());
    EXPECT_EQ(sensor->category(), category);
  }
  std::unique_ptr<KVCoreDataStore> store = makeStore();
  ManagedObjectContextPtr view = store->viewContext();
  KVCategoryPtr category = addCategory(*store, "Temperature", 0);
  KVSensorPtr sensor = addSensor(*store, "TC0P", category);
};

TEST_F(RelationshipRefusalsTest, AnObjectOfAnotherEntityIsNeitherMemberNorOwner) {
  const auto set = view->insertNewObject("FanSet");
  ASSERT_EQ(view->save(), std::nullopt);
  expectRefused(set);
  expectRefused(category);
  expectNoCategory(set);
  expectNoCategory(sensor);
}

TEST_F(RelationshipRefusalsTest, AnObjectOfAnotherStoreIsNeitherMemberNorOwner) {
  const auto other = makeStore();
  expectRefused(other->getSensorByKey("TC0P"));
  expectNoCategory(other->getCategoryWithType(0));
}

TEST_F(RelationshipRefusalsTest, AnUnsavedObjectOfAnotherContextIsNeitherMemberNorOwner) {
  const auto child = store->newContext();
  expectRefused(store->createSensorWithKey("new", child));
  expectNoCategory(store->createOrUpdateCategoryWithName("new", child));
}

TEST_F(RelationshipRefusalsTest, AnObjectThatAnotherProgramDeletedIsNeitherMemberNorOwner) {
  const auto childs = store->newContext()->objectFor(sensor);
  const auto other = makeStore();
  other->viewContext()->deleteObject(other->getSensorByKey("TC0P"));
  other->saveViewContext();
  view->refreshAllObjects();
  EXPECT_FALSE(category->addMember("sensors", childs));
  EXPECT_FALSE(category->addMember("sensors", sensor));
  EXPECT_FALSE(view->hasChanges());
}

TEST_F(RelationshipRefusalsTest, NullIsNotAMember) { expectRefused(nullptr); }

TEST_F(RelationshipRefusalsTest, ADeletedObjectIsNeitherMemberNorOwner) {
  const auto second = store->createSensorWithKey("second", view);
  view->deleteObject(second);
  expectRefused(second);
  const auto fan = addCategory(*store, "Fan", 1);
  view->deleteObject(fan);
  expectNoCategory(fan);
}

TEST_F(RelationshipRefusalsTest, ADeletedObjectTakesNoRelationships) {
  const auto fan = addCategory(*store, "Fan", 1);
  const auto second = addSensor(*store, "second", fan);
  ASSERT_EQ(view->save(), std::nullopt);
  view->deleteObject(second);
  EXPECT_FALSE(second->setRelated("category", category));
  view->deleteObject(category);
  EXPECT_FALSE(category->addMember("sensors", sensor));
  EXPECT_FALSE(category->insertMember("sensors", sensor, 0));
  EXPECT_FALSE(category->setMembers("sensors", {sensor}));
  EXPECT_EQ(sensor->category(), nullptr);
}

TEST_F(RelationshipRefusalsTest, WhatADeletedOwnerTakesWithItIsNotTakenFromIt) {
  const auto point = store->createGraphPoint();
  point->setSensor(sensor);
  ASSERT_EQ(view->save(), std::nullopt);
  view->deleteObject(sensor);
  EXPECT_FALSE(sensor->removeMember("graphPoints", point));
}

TEST_F(RelationshipRefusalsTest, AssigningMembersLeavesOutWhatCannotBeOne) {
  const auto set = view->insertNewObject("FanSet");
  const auto second = store->createSensorWithKey("second", view);
  EXPECT_TRUE(category->setMembers("sensors", {set, second, nullptr, sensor}));
  EXPECT_THAT(category->sensors(), ElementsAre(second, sensor));
  EXPECT_TRUE(category->setMembers("sensors", {}));
  EXPECT_THAT(category->sensors(), IsEmpty());
}

TEST_F(RelationshipRefusalsTest, AChangeThatIsMadeReturnsTrue) {
  const auto second = store->createSensorWithKey("second", view);
  EXPECT_TRUE(category->addMember("sensors", second));
  EXPECT_TRUE(category->insertMember("sensors", second, 0));
  EXPECT_TRUE(category->insertMember("sensors", second, 9));
  EXPECT_TRUE(category->removeMember("sensors", second));
  EXPECT_TRUE(second->setRelated("category", category));
  EXPECT_TRUE(second->setRelated("category", category));
  EXPECT_TRUE(second->setRelated("category", nullptr));
}

}  // namespace
}  // namespace kelvora
