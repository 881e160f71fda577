#include <atomic>
#include <cmath>
#include <future>
#include <limits>
#include <stdexcept>
#include <thread>

#include <SQLiteCpp/Database.h>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ManagedObjectContextTest : public testing::StoreFixture {
 protected:
  KVSensorPtr sensor(const std::string& key, const ManagedObjectContextPtr& in) {
    return store->createSensorWithKey(key, in);
  }
  std::unique_ptr<KVCoreDataStore> store = makeStore();
  ManagedObjectContextPtr view = store->viewContext();
};

TEST_F(ManagedObjectContextTest, ARowIsOneObjectPerContext) {
  const auto made = sensor("TC0P", view);
  store->saveViewContext();
  EXPECT_EQ(store->getSensorByKey("TC0P"), made);
  EXPECT_EQ(store->allSensors()->front(), made);
  const auto child = store->newContext();
  const auto other = store->getSensorByKey("TC0P", child);
  EXPECT_NE(other, made);
  EXPECT_EQ(other->objectID(), made->objectID());
  EXPECT_EQ(child->objectFor(made), other);
  EXPECT_EQ(view->objectFor(other), made);
}

TEST_F(ManagedObjectContextTest, ObjectsWithUnsavedChangesStayAndOthersGoWithTheirLastUser) {
  std::weak_ptr<KVSensor> object = sensor("TC0P", view);
  EXPECT_FALSE(object.expired());
  store->saveViewContext();
  EXPECT_TRUE(object.expired());
  EXPECT_EQ(view->state()->registeredObjects(), 0U);
  object = store->getSensorByKey("TC0P");
  EXPECT_TRUE(object.expired());
  store->getSensorByKey("TC0P")->setValue(5);
  EXPECT_EQ(store->getSensorByKey("TC0P")->value(), 5);
  EXPECT_TRUE(store->getSensorByKey("TC0P")->isUpdated());
}

TEST_F(ManagedObjectContextTest, ManyObjectsFetchedAndReleasedLeaveNothingBehind) {
  for (int i = 0; i < 1000; ++i) {
    store->createGraphPoint();
  }
  store->saveViewContext();
  EXPECT_EQ(view->objectsOf("GraphPoint")->size(), 1000U);
  EXPECT_EQ(view->state()->registeredObjects(), 0U);
}

TEST_F(ManagedObjectContextTest, FetchesSeeUnsavedInsertsChangesAndDeletions) {
  const auto a = sensor("a", view);
  const auto b = sensor("b", view);
  store->saveViewContext();
  const auto c = sensor("c", view);
  b->setKey("z");
  view->deleteObject(a);
  EXPECT_THAT(testing::keysOf(store->allSensors().value()), ElementsAre("z", "c"));
  EXPECT_EQ(store->getSensorByKey("a"), nullptr);
  EXPECT_EQ(store->getSensorByKey("b"), nullptr);
  EXPECT_EQ(store->getSensorByKey("z"), b);
  const auto sorted = view->objectsOf("Sensor", std::nullopt, SortDescriptor{"key", true});
  EXPECT_THAT(*sorted, ElementsAre(c, b));
  const auto descending = view->objectsOf("Sensor", std::nullopt, SortDescriptor{"key", false});
  EXPECT_THAT(*descending, ElementsAre(b, c));
}

TEST_F(ManagedObjectContextTest, FetchesSeeUnsavedChangesOfTheObjectsThatAKeyPathPasses) {
  const auto category = addCategory(*store, "Fan", 3);
  const auto fan = addSensor(*store, "0", category);
  store->saveViewContext();
  category->setType(1);
  EXPECT_THAT(store->fanSensors().value(), ElementsAre(fan));
  category->setType(2);
  EXPECT_THAT(store->fanSensors().value(), IsEmpty());
}

TEST_F(ManagedObjectContextTest, FetchesAreSortedByWhatAKeyPathLeadsTo) {
  const auto fan = addCategory(*store, "Fan", 1);
  const auto temperature = addCategory(*store, "Temperature", 0);
  addSensor(*store, "t", temperature);
  addSensor(*store, "f", fan);
  sensor("bare", view);
  addSensor(*store, "g", fan);
  const auto sorted = [&](const char* key, bool ascending) {
    const auto found =
        view->objectsOf("Sensor", Predicate("key != 'x'"), SortDescriptor{key, ascending});
    std::vector<std::string> keys;
    for (const auto& one : found.value()) {
      keys.push_back(std::get<std::string>(one->attribute("key")));
    }
    return keys;
  };
  for (int saved = 0; saved < 2; ++saved) {
    EXPECT_THAT(sorted("category.name", true), ElementsAre("bare", "f", "g", "t"));
    EXPECT_THAT(sorted("category.name", false), ElementsAre("t", "f", "g", "bare"));
    EXPECT_THAT(sorted("category.type", true), ElementsAre("bare", "t", "f", "g"));
    EXPECT_THAT(sorted("key", false), ElementsAre("t", "g", "f", "bare"));
    store->saveViewContext();
  }
  fan->setName("Ventilator");  // only the category is unsaved
  EXPECT_THAT(sorted("category.name", true), ElementsAre("bare", "t", "f", "g"));
  EXPECT_THAT(sorted("category.name", false), ElementsAre("f", "g", "t", "bare"));
}

TEST_F(ManagedObjectContextTest, OrdersThatDifferInALaterStepOfTheirPathAreTwo) {
  constexpr const char* kPairs = R"({"entities": [
    {"name": "Node", "attributes": [{"name": "name", "type": "String"}], "relationships": [
      {"name": "left", "destination": "Node", "inverse": "leftOf"},
      {"name": "leftOf", "destination": "Node", "inverse": "left", "toMany": true},
      {"name": "right", "destination": "Node", "inverse": "rightOf"},
      {"name": "rightOf", "destination": "Node", "inverse": "right", "toMany": true}]}]})";
  const auto coordinator = std::make_shared<engine::PersistentStoreCoordinator>(
      engine::modelFromText(kPairs), engine::EntityClasses());
  ASSERT_EQ(coordinator->addStore(home + "/pairs.sqlite", 1000), std::nullopt);
  const auto context =
      engine::makeContext(coordinator, nullptr, std::make_unique<engine::PrivateContextQueue>());
  const auto node = [&](const char* name, const ManagedObjectPtr& left,
                        const ManagedObjectPtr& right) {
    ManagedObjectPtr made = context->insertNewObject("Node");
    made->setAttribute("name", ManagedValue(std::string(name)));
    made->setRelated("left", left);
    made->setRelated("right", right);
    return made;
  };
  const auto a = node("a", nullptr, nullptr);
  const auto b = node("b", nullptr, nullptr);
  const auto first = node("first", node("", a, b), nullptr);
  const auto second = node("second", node("", b, a), nullptr);
  ASSERT_EQ(context->save(), std::nullopt);
  const Predicate both("left.left != nil");
  EXPECT_THAT(context->objectsOf("Node", both, SortDescriptor{"left.left.name", true}).value(),
              ElementsAre(first, second));
  EXPECT_THAT(context->objectsOf("Node", both, SortDescriptor{"left.right.name", true}).value(),
              ElementsAre(second, first));
}

TEST_F(ManagedObjectContextTest, ARelationshipIsNotASortKey) {
  for (int unsaved = 0; unsaved < 2; ++unsaved) {
    for (const char* key : {"category", "category.sensors", "category._id", "name.key", "", ".",
                            "_category_order", "category."}) {
      EXPECT_EQ(view->objectsOf("Sensor", std::nullopt, SortDescriptor{key}), std::nullopt) << key;
    }
    sensor("a", view);
  }
}

TEST_F(ManagedObjectContextTest, TheMembersOfAnOwnerAreSortedAcrossTheBatchesOfTheirIndex) {
  const auto owner = sensor("owner", view);
  for (const double x : {2.0, 3.0, 1.0}) {
    const auto point = store->createGraphPoint();
    point->setPointX(x);
    point->setSensor(owner);
    store->saveViewContext();
  }
  SQLite::Database(storePath(), SQLite::OPEN_READWRITE)
      .exec("UPDATE GraphPoint SET _recent = NULL WHERE pointX = 2");
  for (const char* key : {"pointX", "sensor.key"}) {
    const auto points =
        view->objectsOf("GraphPoint", Predicate("sensor = %@", {owner}), SortDescriptor{key});
    std::vector<double> times;
    for (const auto& point : points.value()) {
      times.push_back(std::get<double>(point->attribute("pointX")));
    }
    EXPECT_EQ(times,
              key[0] == 'p' ? (std::vector<double>{1, 2, 3}) : std::vector<double>({2, 3, 1}));
  }
}

TEST_F(ManagedObjectContextTest, FetchesWithUnknownNamesReturnNone) {
  EXPECT_EQ(view->objectsOf("Nothing"), std::nullopt);
  EXPECT_EQ(view->objectsOf("Sensor", Predicate("colour = 1")), std::nullopt);
  EXPECT_EQ(view->objectsOf("Sensor", std::nullopt, SortDescriptor{"colour"}), std::nullopt);
  EXPECT_EQ(view->objectsOf("Sensor", Predicate("key = 1")), std::nullopt);
  EXPECT_EQ(view->objectOf("Sensor", Predicate("colour = 1")), nullptr);
  sensor("a", view);
  EXPECT_EQ(view->objectsOf("Sensor", Predicate("colour = 1")), std::nullopt);
  EXPECT_EQ(view->insertNewObject("Nothing"), nullptr);
}

TEST_F(ManagedObjectContextTest, AChildSeesTheUnsavedStateOfItsParent) {
  const auto saved = sensor("saved", view);
  const auto gone = sensor("gone", view);
  store->saveViewContext();
  sensor("inserted", view)->setValue(7);
  saved->setValue(3);
  view->deleteObject(gone);
  const auto child = store->newContext();
  EXPECT_THAT(testing::keysOf(store->allSensorsInContext(child).value()),
              ElementsAre("saved", "inserted"));
  EXPECT_EQ(store->getSensorByKey("saved", child)->value(), 3);
  EXPECT_EQ(store->getSensorByKey("inserted", child)->value(), 7);
  EXPECT_EQ(store->getSensorByKey("gone", child), nullptr);
  EXPECT_FALSE(child->hasChanges());
  EXPECT_EQ(store->allSensorsInContext(child->newChild())->size(), 2U);
}

TEST_F(ManagedObjectContextTest, AParentSeesTheChangesOfItsChildOnlyAfterTheSave) {
  const auto mine = sensor("a", view);
  sensor("b", view);
  store->saveViewContext();
  const auto child = store->newContext();
  store->getSensorByKey("a", child)->setValue(4);
  child->deleteObject(store->getSensorByKey("b", child));
  sensor("c", child);
  EXPECT_EQ(mine->value(), 0);
  EXPECT_EQ(store->getSensorByKey("c"), nullptr);
  EXPECT_EQ(child->save(), std::nullopt);
  EXPECT_FALSE(child->hasChanges());
  EXPECT_TRUE(view->hasChanges());
  EXPECT_EQ(mine->value(), 4);
  EXPECT_THAT(testing::keysOf(store->allSensors().value()), ElementsAre("a", "c"));
  EXPECT_EQ(makeStore()->getSensorByKey("c"), nullptr);
}

TEST_F(ManagedObjectContextTest, SavingRecursivelyReachesTheFileThroughAllParents) {
  const auto grandchild = store->newContext()->newChild();
  EXPECT_EQ(grandchild->parentContext(), nullptr);  // it has no handle
  const auto child = store->newContext();
  const auto deep = child->newChild();
  sensor("a", deep);
  deep->saveRecursively();
  EXPECT_FALSE(child->hasChanges());
  EXPECT_FALSE(view->hasChanges());
  EXPECT_NE(makeStore()->getSensorByKey("a"), nullptr);
}

TEST_F(ManagedObjectContextTest, SavingRecursivelyWithoutChangesDoesNotSaveTheParent) {
  const auto child = store->newContext();
  sensor("a", view);
  child->saveRecursively();
  EXPECT_TRUE(view->hasChanges());
  child->saveThisAndParentContexts();
  EXPECT_FALSE(view->hasChanges());
}

TEST_F(ManagedObjectContextTest, AMissingValueFailsTheSaveOfTheContextThatMadeIt) {
  const auto child = store->newContext();
  const auto mine = sensor("a", child);
  mine->setAttribute("value", ManagedValue());
  ::testing::internal::CaptureStderr();
  child->saveRecursively();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              HasSubstr("Save error: value of Sensor is required"));
  EXPECT_TRUE(child->hasChanges());
  EXPECT_FALSE(view->hasChanges());
  sensor("b", view);
  store->saveViewContext();
  EXPECT_EQ(testing::keysOf(makeStore()->allSensors().value()), std::vector<std::string>{"b"});
  mine->setValue(1);
  child->saveRecursively();
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 1);
}

TEST_F(ManagedObjectContextTest, AnUpdateToNothingOfARequiredValueIsRefusedInTheChild) {
  sensor("a", view)->setValue(1);
  store->saveViewContext();
  const auto child = store->newContext();
  const auto mine = store->getSensorByKey("a", child);
  mine->setAttribute("value", ManagedValue());
  EXPECT_EQ(child->save(), "value of Sensor is required");
  EXPECT_EQ(store->getSensorByKey("a")->value(), 1);
  child->deleteObject(mine);
  EXPECT_EQ(child->save(), std::nullopt);
  EXPECT_EQ(store->getSensorByKey("a"), nullptr);
}

TEST_F(ManagedObjectContextTest, AFailedSaveIsLoggedStopsTheChainAndRollsNothingBack) {
  sensor("a", view)->setAttribute("value", ManagedValue());
  const auto child = store->newContext();
  sensor("b", child);
  ::testing::internal::CaptureStderr();
  child->saveRecursively();
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              HasSubstr("Save error: value of Sensor is required"));
  EXPECT_FALSE(child->hasChanges());
  EXPECT_TRUE(view->hasChanges());
  EXPECT_EQ(makeStore()->allSensors()->size(), 0U);
  store->getSensorByKey("a")->setValue(1);
  store->saveViewContext();
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 1);
  EXPECT_EQ(makeStore()->allSensors()->size(), 2U);
}

TEST_F(ManagedObjectContextTest, ASaveWritesOnlyChangedProperties) {
  sensor("a", view)->setValue(1);
  store->saveViewContext();
  const auto mine = store->getSensorByKey("a");
  EXPECT_EQ(mine->value(), 1);
  const auto otherProgram = makeStore();
  const auto theirs = otherProgram->getSensorByKey("a");
  theirs->setValue(2);
  theirs->setName("theirs");
  otherProgram->saveViewContext();
  mine->setMaxValue(9);
  mine->setName("mine");
  store->saveViewContext();
  const auto read = makeStore()->getSensorByKey("a");
  EXPECT_EQ(read->value(), 2);
  EXPECT_EQ(read->maxValue(), 9);
  EXPECT_EQ(read->name(), "mine");
  EXPECT_EQ(mine->value(), 1) << "values that were read are kept";
  view->refreshAllObjects();
  EXPECT_EQ(mine->value(), 2);
}

TEST_F(ManagedObjectContextTest, SettingAnEqualValueIsNotAChange) {
  const auto object = sensor("a", view);
  store->saveViewContext();
  object->setKey("a");
  object->setValue(0);
  EXPECT_FALSE(view->hasChanges());
}

TEST_F(ManagedObjectContextTest, ARowDeletedMeanwhileDoesNotHarmASave) {
  const auto mine = sensor("a", view);
  const auto kept = sensor("b", view);
  store->saveViewContext();
  const auto otherProgram = makeStore();
  otherProgram->viewContext()->deleteObject(otherProgram->getSensorByKey("a"));
  otherProgram->saveViewContext();
  mine->setValue(5);
  kept->setValue(6);
  const auto point = store->createGraphPoint();
  point->setSensor(mine);
  store->saveViewContext();
  EXPECT_FALSE(view->hasChanges());
  EXPECT_EQ(mine->value(), 5);
  const auto reader = makeStore();
  EXPECT_EQ(reader->getSensorByKey("a"), nullptr);
  EXPECT_EQ(reader->getSensorByKey("b")->value(), 6);
  EXPECT_THAT(reader->viewContext()->objectsOf("GraphPoint").value(), IsEmpty());
}

TEST_F(ManagedObjectContextTest, ADeletedObjectInsertedHereIsNeverSaved) {
  view->deleteObject(sensor("a", view));
  EXPECT_FALSE(view->hasChanges());
  EXPECT_THAT(store->allSensors().value(), IsEmpty());
}

TEST_F(ManagedObjectContextTest, RefreshingKeepsUnsavedChanges) {
  const auto object = sensor("a", view);
  store->saveViewContext();
  object->setValue(5);
  const auto otherProgram = makeStore();
  otherProgram->getSensorByKey("a")->setName("theirs");
  otherProgram->saveViewContext();
  EXPECT_EQ(object->name(), "");
  view->refreshAllObjects();
  EXPECT_EQ(object->name(), "theirs");
  EXPECT_EQ(object->value(), 5);
}

TEST_F(ManagedObjectContextTest, AnObjectOutlivesItsContext) {
  auto object = sensor("a", view);
  auto child = store->newContext();
  const auto childs = store->getSensorByKey("a", child);
  store->createGraphPoint()->setSensor(object);
  EXPECT_EQ(childs->key(), "a");
  child.reset();
  EXPECT_EQ(childs->key(), "a");
  EXPECT_THAT(childs->members("graphPoints"), IsEmpty());
  EXPECT_EQ(childs->managedObjectContext(), nullptr);
  childs->setValue(3);
  view.reset();
  store.reset();
  EXPECT_EQ(object->key(), "a");
  object->setKey("b");
  EXPECT_EQ(object->key(), "b");
  EXPECT_EQ(object->category(), nullptr);
}

TEST_F(ManagedObjectContextTest, AttributesByNameRefuseOtherTypes) {
  const auto object = sensor("a", view);
  EXPECT_FALSE(object->setAttribute("colour", ManagedValue(1.0)));
  EXPECT_FALSE(object->setAttribute("value", ManagedValue(std::string("hot"))));
  for (const std::int64_t outside : {40000, 32768, -32769}) {
    EXPECT_FALSE(object->setAttribute("group", ManagedValue(outside))) << outside;
  }
  for (const std::int64_t inside : {32767, -32768}) {
    EXPECT_TRUE(object->setAttribute("group", ManagedValue(inside))) << inside;
    EXPECT_EQ(object->group(), inside);
  }
  EXPECT_TRUE(object->setAttribute("value", ManagedValue(std::int64_t{3})));
  EXPECT_EQ(object->value(), 3.0);
  EXPECT_EQ(object->attribute("colour"), ManagedValue());
  EXPECT_EQ(object->related("colour"), nullptr);
  EXPECT_FALSE(object->setRelated("colour", nullptr));
  EXPECT_TRUE(object->members("colour").empty());
}

TEST_F(ManagedObjectContextTest, ANotANumberComesBackFromTheFile) {
  sensor("a", view)->setValue(std::numeric_limits<double>::quiet_NaN());
  store->saveViewContext();
  EXPECT_TRUE(std::isnan(makeStore()->getSensorByKey("a")->value()));
}

TEST_F(ManagedObjectContextTest, WorkOfAPrivateQueueRunsInOrder) {
  const auto child = store->newContext();
  for (int round = 0; round < 50; ++round) {
    std::vector<int> order;
    child->performAndWait([&] { order.push_back(0); });
    child->perform([&] { order.push_back(1); });
    child->perform([&] { order.push_back(2); });
    child->performAndWait([&] {
      order.push_back(3);
      child->performAndWait([&] { order.push_back(4); });
    });
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 4));
  }
}

TEST_F(ManagedObjectContextTest, WorkForLaterMayBeAskedForByManyThreads) {
  const auto child = store->newContext();
  int ran = 0;
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 250; ++i) {
        child->perform([&] { ++ran; });
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  child->performAndWait([&] { EXPECT_EQ(ran, 1000); });
}

TEST_F(ManagedObjectContextTest, WhatWorkThrowsReachesWhoWaitsForIt) {
  const auto child = store->newContext();
  EXPECT_THROW(child->performAndWait([] { throw std::runtime_error("private"); }),
               std::runtime_error);
  bool ran = false;
  std::thread([&] { child->performAndWait([&] { ran = true; }); }).join();
  EXPECT_TRUE(ran);
  std::atomic<bool> ended{false};
  std::thread worker([&] {
    EXPECT_THROW(view->performAndWait([] { throw std::runtime_error("main"); }),
                 std::runtime_error);
    ended = true;
  });
  while (!ended) {
    platform->mainQueue().runPending();
  }
  worker.join();
}

TEST_F(ManagedObjectContextTest, WorkMayHoldTheLastHandleOfItsContext) {
  for (int i = 0; i < 50; ++i) {
    auto child = store->newContext();
    const auto done = std::make_shared<std::promise<void>>();
    child->perform([held = child, done] { done->set_value(); });
    child.reset();
    done->get_future().wait();
  }
}

TEST_F(ManagedObjectContextTest, TheViewContextRunsItsWorkOnTheMainThread) {
  bool ran = false;
  view->perform([&] { ran = true; });
  EXPECT_FALSE(ran);
  platform->mainQueue().runPending();
  EXPECT_TRUE(ran);
  const auto main = std::this_thread::get_id();
  std::atomic<bool> ended{false};
  std::thread worker([&] {
    view->performAndWait([&] { EXPECT_EQ(std::this_thread::get_id(), main); });
    ended = true;
  });
  while (!ended) {
    platform->mainQueue().runPending();
  }
  worker.join();
}

}  // namespace
}  // namespace kelvora
