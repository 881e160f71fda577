#include <SQLiteCpp/Database.h>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// What becomes of objects whose context, parent context or row goes.
class ObjectLifeTest : public testing::StoreFixture {
 protected:
  KVSensorPtr sensor(const std::string& key) { return store->createSensorWithKey(key, view); }
  std::uint64_t reads() const { return store->persistentStoreCoordinator()->reads(); }
  std::unique_ptr<KVCoreDataStore> store = makeStore();
  ManagedObjectContextPtr view = store->viewContext();
};

TEST_F(ObjectLifeTest, UnsavedObjectsGoWithTheirContextAndTheirLastUser) {
  auto child = store->newContext();
  std::weak_ptr<KVSensor> unsaved = store->createSensorWithKey("a", child);
  EXPECT_FALSE(unsaved.expired());
  child.reset();
  EXPECT_TRUE(unsaved.expired());
}

TEST_F(ObjectLifeTest, AChangeAfterTheContextIsGoneKeepsNothingAlive) {
  sensor("a");
  store->saveViewContext();
  auto child = store->newContext();
  auto object = store->getSensorByKey("a", child);
  child.reset();
  object->setValue(3);
  EXPECT_EQ(object->value(), 3);
  const std::weak_ptr<KVSensor> handle = object;
  object.reset();
  EXPECT_TRUE(handle.expired());
}

TEST_F(ObjectLifeTest, AnObjectWhoseContextIsGoneFollowsTheFileNoMore) {
  sensor("a")->setValue(1);
  store->createGraphPoint()->setSensor(sensor("a"));
  store->saveViewContext();
  const auto reader = makeStore(0);
  auto child = reader->newContext();
  const auto object = reader->getSensorByKey("a", child);
  child.reset();
  store->getSensorByKey("a")->setValue(2);
  store->saveViewContext();
  EXPECT_EQ(object->value(), 1);
  EXPECT_THAT(object->graphPoints(), IsEmpty());
}

TEST_F(ObjectLifeTest, AChildOfAContextThatIsGoneKeepsItsChangesAndSavesNoFurther) {
  auto child = store->newContext();
  const auto grandchild = child->newChild();
  store->createSensorWithKey("a", grandchild);
  sensor("mine");
  child.reset();
  EXPECT_EQ(grandchild->save(), "the parent context is gone");
  EXPECT_TRUE(grandchild->hasChanges());
  ::testing::internal::CaptureStderr();
  grandchild->saveThisAndParentContexts();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              HasSubstr("Save error: the parent context is gone"));
  EXPECT_TRUE(view->hasChanges());
}

// An object whose end fetches the same row, so that a new one exists before the old one has ended.
class Lingering : public ManagedObject {
 public:
  explicit Lingering(Origin origin) : ManagedObject(std::move(origin)) {}
  ~Lingering() override {
    if (const auto context = std::exchange(asked, nullptr)) {
      found = context->objectOf("Sensor", std::nullopt);
    }
  }
  static inline ManagedObjectContextPtr asked;
  static inline ManagedObjectPtr found;
};

TEST_F(ObjectLifeTest, ARowAskedForWhileItsObjectEndsIsStillOneObject) {
  sensor("a");
  store->saveViewContext();
  auto model = engine::modelFromText(engine::textFromModel(*store->managedObjectModel()));
  const engine::EntityClasses classes{
      {"KVSensor",
       {[](ManagedObject::Origin origin) { return std::make_shared<Lingering>(std::move(origin)); },
        {}}}};
  auto coordinator = std::make_shared<engine::PersistentStoreCoordinator>(model, classes);
  ASSERT_EQ(coordinator->addStore(storePath(), 1000), std::nullopt);
  auto context = makeContext(coordinator, nullptr, std::make_unique<engine::PrivateContextQueue>());
  auto first = context->objectOf("Sensor", std::nullopt);
  Lingering::asked = context;
  first.reset();
  ASSERT_NE(Lingering::found, nullptr);
  EXPECT_EQ(context->objectOf("Sensor", std::nullopt), Lingering::found);
  EXPECT_EQ(context->state()->registeredObjects(), 1U);
  Lingering::found.reset();
}

TEST_F(ObjectLifeTest, ARowFoundGoneByASaveIsLedToNoMore) {
  const auto category = addCategory(*store, "Temperature", 0);
  const auto member = addSensor(*store, "a", category);
  store->saveViewContext();
  EXPECT_EQ(member->category(), category);
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE).exec("DELETE FROM Category");
  EXPECT_EQ(member->category(), category);
  category->setName("renamed");
  store->saveViewContext();
  EXPECT_EQ(category->name(), "renamed");
  EXPECT_EQ(member->category(), nullptr);
}

TEST_F(ObjectLifeTest, ARelationshipToARowThatIsGoneIsSavedAsNone) {
  const auto category = addCategory(*store, "Temperature", 0);
  store->saveViewContext();
  SQLite::Database file(storePath(), SQLite::OPEN_READWRITE);
  file.exec("DELETE FROM Category");
  addSensor(*store, "a", category);
  store->saveViewContext();
  EXPECT_EQ(file.execAndGet("SELECT count(*) FROM Sensor WHERE category IS NULL").getInt(), 1);
}

TEST_F(ObjectLifeTest, AChildDoesNotListARowThatIsGoneThoughItsParentChangedIt) {
  const auto mine = sensor("a");
  sensor("b");
  store->saveViewContext();
  mine->setValue(5);
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE).exec("DELETE FROM Sensor WHERE key = 'a'");
  const auto child = store->newContext();
  EXPECT_THAT(testing::keysOf(store->allSensorsInContext(child).value()), ElementsAre("b"));
}

TEST_F(ObjectLifeTest, AChildDoesNotListWhatItChangedAndItsParentDeleted) {
  const auto mine = sensor("a");
  store->saveViewContext();
  const auto child = store->newContext();
  const auto childs = store->getSensorByKey("a", child);
  childs->setValue(5);
  view->deleteObject(mine);
  EXPECT_THAT(store->allSensorsInContext(child).value(), IsEmpty());
  child->saveRecursively();
  EXPECT_TRUE(mine->isDeleted());
  EXPECT_THAT(store->allSensors().value(), IsEmpty());
  EXPECT_THAT(makeStore()->allSensors().value(), IsEmpty());
}

TEST_F(ObjectLifeTest, WhatAParentInsertedAndAChildDeletedIsGoneForTheGrandchild) {
  const auto category = store->createOrUpdateCategoryWithName("unsaved", view);
  const auto child = store->newContext();
  child->deleteObject(category);
  const auto grandchild = child->newChild();
  const auto object = store->createSensorWithKey("a", grandchild);
  EXPECT_FALSE(object->setRelated("category", category));
  EXPECT_EQ(store->categoryWhere(Predicate("TRUEPREDICATE"), grandchild), nullptr);
}

TEST_F(ObjectLifeTest, WhatWasNotVisibleIsOnceItsContextHasSaved) {
  const auto category = addCategory(*store, "Temperature", 0);
  const auto child = store->newContext();
  const auto childs = store->createSensorWithKey("new", child);
  const auto mine = view->objectFor(childs);
  EXPECT_FALSE(category->addMember("sensors", mine));
  EXPECT_EQ(child->save(), std::nullopt);
  EXPECT_TRUE(category->addMember("sensors", mine));
  EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("new"));
}

TEST_F(ObjectLifeTest, TheFirstMatchIsFoundBehindRowsThatMatchNoMore) {
  const auto first = sensor("a");
  const auto second = sensor("b");
  store->saveViewContext();
  first->setPlatform(1);
  EXPECT_EQ(store->sensorWhere(Predicate("platform = 0"), view), second);
  view->deleteObject(second);
  EXPECT_EQ(store->sensorWhere(Predicate("platform = 0"), view), nullptr);
}

TEST_F(ObjectLifeTest, AValueSetHereIsReadWithoutTheFile) {
  const auto object = sensor("a");
  store->saveViewContext();
  view->refreshAllObjects();
  object->setAttribute("value", ManagedValue(5.0));
  const auto before = reads();
  EXPECT_EQ(object->value(), 5);
  EXPECT_EQ(reads(), before);
  EXPECT_EQ(object->key(), "a");
  EXPECT_EQ(reads(), before + 1);
}

}  // namespace
}  // namespace kelvora
