#include "tests/engine/StatementHook.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kReadsSensors = "FROM \"Sensor\"";

// A parent changes while its child reads the file. The child may return the state before or after
// the change, but the next read must show the change.
class ParentChangesTest : public testing::StoreFixture {
 protected:
  ParentChangesTest() {
    sensor->setValue(1);
    sensor->setCategory(category);
    store->saveViewContext();
    child->setStalenessInterval(0);
  }
  KVSensorPtr childs() { return store->getSensorByKey("a", child); }
  KVCategoryPtr childsCategory() {
    return std::dynamic_pointer_cast<KVCategory>(child->objectFor(category));
  }
  void whileSensorsAreRead(std::function<void()> then) {
    hook.once(kReadsSensors, std::move(then));
  }

  testing::StatementHook hook;
  std::unique_ptr<KVCoreDataStore> store = makeStore(-1);
  KVCategoryPtr category = addCategory(*store, "Temperature", 0);
  KVSensorPtr sensor = store->createSensorWithKey("a", store->viewContext());
  ManagedObjectContextPtr child = store->newContext();
};

TEST_F(ParentChangesTest, ShowAfterTheReadOfAnObject) {
  const auto object = childs();
  child->refreshAllObjects();
  whileSensorsAreRead([this] { sensor->setValue(5); });
  object->value();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_EQ(object->value(), 5);
}

TEST_F(ParentChangesTest, ShowAfterTheReadOfAnObjectThatTheParentInserted) {
  const auto inserted = store->createSensorWithKey("new", store->viewContext());
  const auto object = std::dynamic_pointer_cast<KVSensor>(child->objectFor(inserted));
  whileSensorsAreRead([&] { inserted->setValue(5); });
  object->value();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_EQ(object->value(), 5);
}

TEST_F(ParentChangesTest, ShowAfterAFetch) {
  whileSensorsAreRead([this] { sensor->setValue(5); });
  const auto objects = store->allSensorsInContext(child).value();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_EQ(objects.at(0)->value(), 5);
}

TEST_F(ParentChangesTest, ShowAfterAFetchOverUnsavedObjects) {
  store->createSensorWithKey("b", child);
  whileSensorsAreRead([this] { sensor->setValue(5); });
  const auto objects = store->allSensorsInContext(child).value();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_EQ(objects.at(0)->value(), 5);
}

TEST_F(ParentChangesTest, ShowAfterTheReadOfAList) {
  const auto object = childsCategory();
  object->name();
  whileSensorsAreRead([this] { sensor->setCategory(nullptr); });
  const auto members = object->sensors();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_THAT(object->sensors(), IsEmpty());
}

TEST_F(ParentChangesTest, ShowAfterTheReadOfAnEmptyList) {
  sensor->setCategory(nullptr);
  store->saveViewContext();
  const auto object = childsCategory();
  object->name();
  whileSensorsAreRead([this] { sensor->setCategory(category); });
  object->sensors();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_THAT(testing::keysOf(object->sensors()), ElementsAre("a"));
}

TEST_F(ParentChangesTest, ShowInTheValuesOfMembersReadWithTheirList) {
  const auto object = childsCategory();
  object->name();
  whileSensorsAreRead([this] { sensor->setValue(5); });
  const auto members = object->sensors();
  ASSERT_FALSE(hook.isWaiting());
  EXPECT_EQ(members.at(0)->value(), 5);
}

TEST_F(ParentChangesTest, AreReplacedByASetOfTheValueThatTheChildReadBefore) {
  const auto object = childs();
  child->refreshAllObjects();
  whileSensorsAreRead([this] { sensor->setValue(5); });
  EXPECT_EQ(object->value(), 1);
  object->setValue(1);
  EXPECT_EQ(child->save(), std::nullopt);
  EXPECT_EQ(sensor->value(), 1);
}

TEST_F(ParentChangesTest, EndForTheChildWhenTheParentEnds) {
  auto middle = store->newContext();
  const auto grandchild = middle->newChild();
  grandchild->setStalenessInterval(0);
  store->getSensorByKey("a", middle)->setValue(5);
  const auto object = store->getSensorByKey("a", grandchild);
  EXPECT_EQ(object->value(), 5);
  std::weak_ptr<ManagedObjectContext> ended = middle;
  middle.reset();
  ASSERT_TRUE(ended.expired());
  EXPECT_EQ(object->value(), 1);
}

}  // namespace
}  // namespace kelvora
