#include <chrono>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;

// Two stores on one file: two connections, as two programs have them.
class StalenessTest : public testing::StoreFixture {
 protected:
  StalenessTest() {
    const auto sensor = writer->createSensorWithKey("a", writer->viewContext());
    sensor->setValue(1);
    sensor->setCategory(addCategory(*writer, "Temperature", 0));
    writer->saveViewContext();
  }
  void write(double value) {
    writer->getSensorByKey("a")->setValue(value);
    writer->saveViewContext();
  }
  std::unique_ptr<KVCoreDataStore> writer = makeStore();
};

TEST_F(StalenessTest, AValueOnceReadStays) {
  const auto reader = makeStore(-1);
  const auto sensor = reader->getSensorByKey("a");
  const auto category = reader->getCategoryWithType(0);
  EXPECT_EQ(sensor->value(), 1);
  EXPECT_EQ(category->sensors().size(), 1U);
  write(2);
  writer->getCategoryWithType(0)->addToSensors(
      writer->createSensorWithKey("b", writer->viewContext()));
  writer->saveViewContext();
  EXPECT_EQ(sensor->value(), 1);
  EXPECT_EQ(reader->getSensorByKey("a")->value(), 1);
  EXPECT_THAT(category->sensors(), ElementsAre(sensor));
  EXPECT_EQ(reader->allSensors()->size(), 2U);
  reader->viewContext()->refreshAllObjects();
  EXPECT_EQ(sensor->value(), 2);
  EXPECT_EQ(category->sensors().size(), 2U);
}

TEST_F(StalenessTest, EveryReadShowsWhatAnotherProgramCommittedAlsoOfHeldObjects) {
  const auto reader = makeStore(0);
  const auto sensor = reader->getSensorByKey("a");
  const auto category = reader->getCategoryWithType(0);
  for (int i = 2; i < 6; ++i) {
    write(i);
    EXPECT_EQ(sensor->value(), i);
    writer->createSensorWithKey("k" + std::to_string(i), writer->viewContext())
        ->setCategory(writer->getCategoryWithType(0));
    writer->saveViewContext();
    EXPECT_EQ(category->sensors().size(), static_cast<std::size_t>(i));
    EXPECT_EQ(reader->allSensors()->size(), static_cast<std::size_t>(i));
  }
  writer->viewContext()->deleteObject(writer->getCategoryWithType(0));
  writer->saveViewContext();
  EXPECT_EQ(sensor->category(), nullptr);
}

TEST_F(StalenessTest, UnsavedChangesStayWhileTheOtherPropertiesFollow) {
  const auto reader = makeStore(0);
  const auto sensor = reader->getSensorByKey("a");
  sensor->setValue(10);
  writer->getSensorByKey("a")->setName("theirs");
  write(3);
  EXPECT_EQ(sensor->value(), 10);
  EXPECT_EQ(sensor->name(), "theirs");
  reader->saveViewContext();
  EXPECT_EQ(makeStore()->getSensorByKey("a")->value(), 10);
}

TEST_F(StalenessTest, AChildFollowsItsParentAndOtherChildren) {
  const auto reader = makeStore(0);
  const auto child = reader->newContext();
  const auto sensor = reader->getSensorByKey("a", child);
  EXPECT_EQ(sensor->value(), 1);
  reader->getSensorByKey("a")->setValue(5);
  EXPECT_EQ(sensor->value(), 5);
  const auto sibling = reader->newContext();
  reader->getSensorByKey("a", sibling)->setValue(6);
  sibling->saveRecursively();
  EXPECT_EQ(sensor->value(), 6);
}

TEST_F(StalenessTest, AnUnchangedFileIsNotReadAgain) {
  const auto reader = makeStore(0);
  const auto sensor = reader->getSensorByKey("a");
  const auto category = reader->getCategoryWithType(0);
  const auto members = category->sensors();
  const auto& coordinator = *reader->persistentStoreCoordinator();
  const auto before = coordinator.reads();
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(sensor->value(), 1);
    EXPECT_EQ(category->sensors(), members);
  }
  EXPECT_EQ(coordinator.reads(), before);
}

TEST_F(StalenessTest, AListReadAfterACommitIsNotReadAgain) {
  const auto reader = makeStore(0);
  const auto category = reader->getCategoryWithType(0);
  write(2);
  const auto members = category->sensors();
  const auto before = reader->persistentStoreCoordinator()->reads();
  EXPECT_EQ(category->sensors(), members);
  EXPECT_EQ(reader->persistentStoreCoordinator()->reads(), before);
}

TEST_F(StalenessTest, AnUnchangedParentIsNotReadAgain) {
  const auto reader = makeStore(0);
  reader->getSensorByKey("a")->setName("unsaved");
  const auto child = reader->newContext();
  const auto sensor = reader->getSensorByKey("a", child);
  EXPECT_EQ(sensor->name(), "unsaved");
  const auto before = reader->persistentStoreCoordinator()->reads();
  EXPECT_EQ(sensor->name(), "unsaved");
  EXPECT_EQ(sensor->value(), 1);
  EXPECT_EQ(reader->persistentStoreCoordinator()->reads(), before);
}

TEST_F(StalenessTest, WhatAFetchBringsIsNotReadOnceMore) {
  const auto reader = makeStore(0);
  const auto sensor = reader->getSensorByKey("a");
  write(2);
  const auto before = reader->persistentStoreCoordinator()->reads();
  EXPECT_EQ(reader->getSensorByKey("a")->value(), 2);
  EXPECT_EQ(reader->persistentStoreCoordinator()->reads(), before + 1);
}

TEST_F(StalenessTest, AListOnceReadStaysWithoutHandlesToItsMembers) {
  const auto reader = makeStore(-1);
  const auto category = reader->getCategoryWithType(0);
  EXPECT_EQ(category->sensors().size(), 1U);
  writer->createSensorWithKey("b", writer->viewContext())
      ->setCategory(writer->getCategoryWithType(0));
  writer->saveViewContext();
  EXPECT_EQ(category->sensors().size(), 1U);
  reader->viewContext()->refreshAllObjects();
  EXPECT_EQ(category->sensors().size(), 2U);
}

TEST_F(StalenessTest, AListFollowsTheFileThoughItsMembersAreHeld) {
  const auto reader = makeStore(0);
  const auto category = reader->getCategoryWithType(0);
  const auto members = category->sensors();
  writer->createSensorWithKey("b", writer->viewContext())
      ->setCategory(writer->getCategoryWithType(0));
  writer->saveViewContext();
  EXPECT_EQ(category->sensors().size(), 2U);
}

TEST_F(StalenessTest, AChildsOwnChangesWinOverWhatItsParentInsertedAndChanges) {
  const auto reader = makeStore(0);
  const auto mine = reader->createSensorWithKey("new", reader->viewContext());
  const auto child = reader->newContext();
  const auto childs = reader->getSensorByKey("new", child);
  childs->setValue(5);
  mine->setValue(4);
  mine->setName("parent");
  EXPECT_EQ(childs->name(), "parent");
  EXPECT_EQ(childs->value(), 5);
}

TEST_F(StalenessTest, AChildLeadsNoMoreToWhatItsParentDeleted) {
  const auto reader = makeStore(0);
  const auto child = reader->newContext();
  const auto point = reader->createGraphPointInContext(child);
  const auto childs = reader->getSensorByKey("a", child);
  point->setSensor(childs);
  EXPECT_EQ(point->sensor(), childs);
  reader->viewContext()->deleteObject(reader->getSensorByKey("a"));
  EXPECT_EQ(point->sensor(), nullptr);
}

// Longer than a test runs, and shorter than the clock has run: a value whose time of reading is
// missing would be outdated.
double longInterval() {
  const auto uptime = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(uptime).count() / 2;
}

TEST_F(StalenessTest, AnIntervalCountsFromTheReading) {
  const auto reader = makeStore(longInterval());
  const auto sensor = reader->getSensorByKey("a");
  EXPECT_EQ(sensor->value(), 1);
  write(2);
  EXPECT_EQ(sensor->value(), 1);
  reader->viewContext()->setStalenessInterval(1e-9);
  EXPECT_EQ(sensor->value(), 2);
}

TEST_F(StalenessTest, AnIntervalOfAListCountsFromTheReadingOfTheList) {
  const auto reader = makeStore(longInterval());
  const auto category = addCategory(*reader, "Voltage", 2);
  reader->saveViewContext();
  EXPECT_EQ(category->sensors().size(), 0U);
  writer->createSensorWithKey("b", writer->viewContext())
      ->setCategory(writer->getCategoryWithType(2));
  writer->saveViewContext();
  EXPECT_EQ(category->sensors().size(), 0U);
}

}  // namespace
}  // namespace kelvora
