#include <limits>

#include <SQLiteCpp/Database.h>

#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;

// Files that SQLite reads without complaint, with rows that no program of this engine writes.
class DamagedStoreTest : public testing::StoreFixture {
 protected:
  DamagedStoreTest() {
    const auto store = makeStore();
    const auto category = addCategory(*store, "Temperature", 0);
    store->createGraphPoint()->setSensor(addSensor(*store, "a", category));
    addSensor(*store, "b", category);
    store->saveViewContext();
  }
  void execute(const std::string& sql) {
    SQLite::Database(storePath(), SQLite::OPEN_READWRITE).exec(sql);
  }
  std::string ask(const std::string& sql) {
    return SQLite::Database(storePath()).execAndGet(sql).getString();
  }
  static constexpr auto kLowest = std::numeric_limits<std::int64_t>::min();
  static constexpr auto kHighest = std::numeric_limits<std::int64_t>::max();
};

TEST_F(DamagedStoreTest, OneIdInSeveralEntitiesIsSeveralObjects) {
  execute("UPDATE Sensor SET _id = (SELECT _id FROM Category) WHERE key = 'a'");
  const auto store = makeStore();
  const auto sensor = store->getSensorByKey("a");
  const auto category = store->getCategoryWithType(0);
  ASSERT_NE(category, nullptr);
  EXPECT_EQ(sensor->objectID(), category->objectID());
  EXPECT_EQ(sensor->category(), category);
  EXPECT_EQ(category->sensors().size(), 2U);
  sensor->setValue(7);
  category->setName("both");
  store->saveViewContext();
  EXPECT_EQ(store->viewContext()->state()->registeredObjects(), 2U);
  const auto reader = makeStore();
  EXPECT_EQ(reader->getSensorByKey("a")->value(), 7);
  EXPECT_EQ(reader->getCategoryWithName("both")->sensors().size(), 2U);
  store->viewContext()->deleteObject(sensor);
  store->saveViewContext();
  EXPECT_EQ(makeStore()->getCategoryWithName("both")->sensors().size(), 1U);
}

TEST_F(DamagedStoreTest, ARowOfAnotherEntityWithTheSameIdIsNotATarget) {
  execute("UPDATE Sensor SET _id = (SELECT _id FROM Category) WHERE key = 'a'");
  const auto store = makeStore();
  const auto sensor = store->getSensorByKey("a");
  const auto category = store->getCategoryWithType(0);
  execute("DELETE FROM Category");
  store->createGraphPoint()->setSensor(sensor);
  addSensor(*store, "c", category);
  store->saveViewContext();
  EXPECT_EQ(ask("SELECT count(*) FROM Sensor WHERE key = 'c' AND category IS NULL"), "1");
}

TEST_F(DamagedStoreTest, PlacesAtTheEndOfTheNumbersKeepTheOrder) {
  for (const std::int64_t order : {kLowest, kLowest + 1, kHighest}) {
    execute("UPDATE Sensor SET _category_order = " + std::to_string(order) + " WHERE key = 'a'");
    execute("UPDATE Sensor SET _category_order = 9223372036854775807 WHERE key = 'b'");
    const auto store = makeStore();
    const auto category = store->getCategoryWithType(0);
    const auto first = store->createSensorWithKey("first", store->viewContext());
    const auto second = store->createSensorWithKey("second", store->viewContext());
    category->insertIntoSensors(first, 0);
    category->insertIntoSensors(second, 1);
    EXPECT_THAT(testing::keysOf(category->sensors()), ElementsAre("first", "second", "a", "b"))
        << order;
    store->saveViewContext();
    EXPECT_THAT(testing::keysOf(makeStore()->tempSensors().value()),
                ElementsAre("first", "second", "a", "b"));
    execute("DELETE FROM Sensor WHERE key IN ('first', 'second')");
  }
}

TEST_F(DamagedStoreTest, AListOnceReadStaysWhileTheFileCannotBeRead) {
  for (const double staleness : {-1.0, 0.0}) {
    const auto store = makeStore(staleness);
    const auto category = store->getCategoryWithType(0);
    const auto held = category->sensors().front();
    execute("ALTER TABLE Sensor RENAME TO Hidden");
    ASSERT_EQ(category->sensors().size(), 2U) << staleness;
    EXPECT_EQ(category->sensors().front(), held);
    store->viewContext()->deleteObject(held);
    EXPECT_EQ(category->sensors().size(), 1U);
    execute("ALTER TABLE Hidden RENAME TO Sensor");
    EXPECT_EQ(testing::keysOf(category->sensors()), std::vector<std::string>{"b"});
  }
}

TEST_F(DamagedStoreTest, ARowThatCannotBeReadNowIsNotADeletedRow) {
  const auto store = makeStore(0);
  const auto sensor = store->getSensorByKey("a");
  const auto category = sensor->category();
  ASSERT_NE(category, nullptr);
  EXPECT_EQ(category->name(), "Temperature");
  execute("ALTER TABLE Category RENAME TO Hidden");
  EXPECT_EQ(category->name(), "Temperature");
  EXPECT_EQ(sensor->category(), category);
  EXPECT_TRUE(sensor->setRelated("category", category));
  execute("UPDATE Hidden SET name = 'later'; ALTER TABLE Hidden RENAME TO Category");
  EXPECT_EQ(sensor->category(), category);
  EXPECT_EQ(category->name(), "later");
}

TEST_F(DamagedStoreTest, AMemberFoundGoneIsNotAmongThoseOnceRead) {
  const auto store = makeStore();
  const auto category = store->getCategoryWithType(0);
  const auto held = category->sensors().front();
  execute("DELETE FROM Sensor WHERE key = 'a'");
  held->setValue(1);
  store->saveViewContext();
  execute("ALTER TABLE Sensor RENAME TO Hidden");
  EXPECT_EQ(category->sensors().size(), 1U);
}

TEST_F(DamagedStoreTest, AReferenceToARowThatIsNotThereLeadsNowhere) {
  execute("DELETE FROM Category");
  const auto store = makeStore();
  const auto sensor = store->getSensorByKey("a");
  EXPECT_EQ(sensor->category(), nullptr);
  EXPECT_EQ(store->viewContext()->objectsOf("Sensor", Predicate("category.name = nil"))->size(),
            2U);
}

TEST_F(DamagedStoreTest, AFileWithoutTheMarkIsNotAStore) {
  execute("PRAGMA application_id = 0");
  EXPECT_EQ(makeStore()->allSensors(), std::nullopt);
  execute("PRAGMA application_id = 0x4B566F73");
  EXPECT_EQ(makeStore()->allSensors()->size(), 2U);
}
}  // namespace
}  // namespace kelvora
