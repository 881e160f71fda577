#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include "tests/engine/StatementHook.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

constexpr int kSensors = 10;
constexpr int kPointsEach = 50;
constexpr std::size_t kAll = std::size_t{kSensors} * kPointsEach;

// Fetches along a relationship read only the rows that match or that unsaved changes can affect.
class UnsavedFetchTest : public testing::StoreFixture {
 protected:
  UnsavedFetchTest() {
    const auto writer = makeStore();
    for (int i = 0; i < kSensors; ++i) {
      const auto sensor =
          writer->createSensorWithKey("k" + std::to_string(i), writer->viewContext());
      sensor->setCategory(addCategory(*writer, i < 5 ? "Low" : "High", 0));
      for (int x = 0; x < kPointsEach; ++x) {
        const auto point = writer->createGraphPoint();
        point->setPointX(x);
        point->setSensor(sensor);
      }
    }
    writer->saveViewContext();
  }
  // How many points match, and how many rows were read for that at most.
  void expectPoints(const Predicate& predicate, std::size_t matches, std::size_t rowsAtMost,
                    const std::optional<SortDescriptor>& by = {}) {
    const std::size_t before = hook.rows();
    EXPECT_EQ(store->viewContext()->objectsOf("GraphPoint", predicate, by)->size(), matches);
    EXPECT_LE(hook.rows() - before, rowsAtMost);
  }
  KVSensorPtr sensor(const char* key) { return store->getSensorByKey(key); }

  testing::StatementHook hook;
  std::unique_ptr<KVCoreDataStore> store = makeStore();
  const Predicate eighth{"sensor.key = 'k8'"};
};

TEST_F(UnsavedFetchTest, AValueThatThePredicateDoesNotReadCostsNothing) {
  sensor("k3")->setValue(1);
  expectPoints(eighth, kPointsEach, kPointsEach);
  expectPoints(eighth, kPointsEach, kPointsEach, SortDescriptor{"sensor.key", false});
}

TEST_F(UnsavedFetchTest, AnUnsavedObjectOfTheFetchedEntityCostsOnlyItself) {
  const auto point = store->createGraphPoint();
  const auto other = store->createGraphPoint();
  point->setSensor(sensor("k8"));
  expectPoints(eighth, kPointsEach + 1, kPointsEach + 5);
}

TEST_F(UnsavedFetchTest, AValueThatThePredicateReadsCostsTheRowsThatLeadToIt) {
  const auto third = sensor("k3");
  third->setKey("k8");
  expectPoints(eighth, 2 * kPointsEach, 2 * kPointsEach + 5);
  const auto last = sensor("k9");
  last->setKey("x");
  expectPoints(Predicate("sensor.key = 'k9'"), 0, 3 * kPointsEach + 5);
}

TEST_F(UnsavedFetchTest, ADeletedObjectBehindTheRelationshipCounts) {
  const auto child = store->newContext();
  child->deleteObject(child->objectFor(store->getCategoryWithName("High")));
  const auto points = child->objectsOf("GraphPoint", Predicate("sensor.category.name = 'High'"));
  EXPECT_EQ(points->size(), 0U);
  EXPECT_EQ(child->objectsOf("GraphPoint", Predicate("sensor.category = nil"))->size(), kAll / 2);
}

TEST_F(UnsavedFetchTest, ARelationshipOfAnObjectBehindTheRelationshipCounts) {
  sensor("k0")->setCategory(store->getCategoryWithName("High"));
  expectPoints(Predicate("sensor.category.name = 'High'"), kAll / 2 + kPointsEach,
               kAll / 2 + 2 * kPointsEach + 5);
  store->getCategoryWithName("High")->setName("Higher");
  expectPoints(Predicate("sensor.category.name = 'Higher'"), kAll / 2 + kPointsEach, 2 * kAll);
}

TEST_F(UnsavedFetchTest, AnUnsavedValueBehindTheOrderSorts) {
  sensor("k0")->setKey("z");
  const auto points = store->viewContext()->objectsOf("GraphPoint", Predicate("pointX = 7"),
                                                      SortDescriptor{"sensor.key", true});
  ASSERT_EQ(points->size(), std::size_t{kSensors});
  EXPECT_EQ(points->back()->related("sensor")->attribute("key"), ManagedValue(std::string("z")));
}

TEST_F(UnsavedFetchTest, TheRowsThatLeadToChangedObjectsAreFoundThroughTheirIndex) {
  const auto& model = store->persistentStoreCoordinator()->model();
  const auto& entity = *model.entityNamed("GraphPoint");
  engine::ResolvedPredicate any;
  any.kind = engine::NodeKind::kOr;
  any.children.push_back(engine::leadsTo({*entity.columnNamed("sensor")}, {1, 2}));
  const auto sql = engine::fetchSQL(model, entity, &any, std::nullopt, false);
  SQLite::Database database(storePath());
  SQLite::Statement plan(database, "EXPLAIN QUERY PLAN " + sql.text);
  std::string steps;
  while (plan.executeStep()) {
    steps += plan.getColumn(3).getString() + "\n";
  }
  EXPECT_THAT(steps, ::testing::HasSubstr("GraphPoint_sensor"));
  EXPECT_THAT(steps, ::testing::Not(::testing::HasSubstr("SCAN t\n")));
}

TEST_F(UnsavedFetchTest, MoreChangedObjectsThanAStatementTakesStillMatchRightly) {
  const auto view = store->viewContext();
  for (int i = 0; i < 10001; ++i) {
    view->insertNewObject("Sensor");
  }
  store->saveViewContext();
  const auto sensors = store->allSensors().value();
  for (const auto& one : sensors) {
    one->setKey("k8");
  }
  EXPECT_EQ(view->objectsOf("GraphPoint", eighth)->size(), kAll);
}

}  // namespace
}  // namespace kelvora
