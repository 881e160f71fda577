// The relationships of the entities, from both sides, as another program reads them.
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class StoredRelationships : public testing::StoreFixture {
 protected:
  KVGraphPointPtr point(double x) {
    auto made = writer->createGraphPoint();
    made->setPointX(x);
    return made;
  }
  KVFanConditionPtr condition(double threshold) {
    auto made = insert<KVFanCondition>();
    made->setThreshold(threshold);
    return made;
  }
  KVSensorPtr sensor(const char* key) {
    return writer->createSensorWithKey(key, writer->viewContext());
  }
  template <typename T>
  std::shared_ptr<T> insert() {
    return std::dynamic_pointer_cast<T>(writer->viewContext()->insertNewObject(T::kEntityName));
  }

  // What another program finds after a save.
  std::vector<std::string> sensorsOfTheCategory() {
    return testing::keysOf(saved<KVCategory>()->sensors());
  }
  std::vector<double> pointsOfTheSensor() {
    std::vector<double> values;
    for (const KVGraphPointPtr& each : saved<KVSensor>()->graphPoints()) {
      values.push_back(each->pointX());
    }
    return values;
  }
  std::vector<double> conditionsOfTheFanSet() {
    std::vector<double> values;
    for (const KVFanConditionPtr& each : saved<KVFanSet>()->fanConditions()) {
      values.push_back(each->threshold());
    }
    return values;
  }
  template <typename T>
  std::shared_ptr<T> saved() {
    writer->saveViewContext();
    reader = makeStore();
    return std::dynamic_pointer_cast<T>(
        reader->viewContext()->objectOf(T::kEntityName, std::nullopt));
  }

  std::unique_ptr<KVCoreDataStore> writer = makeStore();
  std::unique_ptr<KVCoreDataStore> reader;
};

TEST_F(StoredRelationships, ACategoryHasSensorsInAnOrder) {
  const auto category = insert<KVCategory>();
  const auto a = sensor("a");
  const auto b = sensor("b");
  const auto c = sensor("c");
  category->addToSensors(a);
  category->addToSensors(b);
  category->insertIntoSensors(c, 0);
  EXPECT_EQ(c->category(), category);
  EXPECT_THAT(sensorsOfTheCategory(), ElementsAre("c", "a", "b"));
  category->removeFromSensors(a);
  EXPECT_EQ(a->category(), nullptr);
  EXPECT_THAT(sensorsOfTheCategory(), ElementsAre("c", "b"));
  category->setSensors({b, a, c});
  EXPECT_THAT(sensorsOfTheCategory(), ElementsAre("b", "a", "c"));
  b->setCategory(nullptr);
  EXPECT_THAT(sensorsOfTheCategory(), ElementsAre("a", "c"));
}

TEST_F(StoredRelationships, ASensorHasGraphPointsInAnOrder) {
  const auto owner = sensor("TC0P");
  const auto first = point(1);
  const auto second = point(2);
  const auto third = point(3);
  owner->addToGraphPoints(first);
  owner->addToGraphPoints(second);
  owner->insertIntoGraphPoints(third, 1);
  EXPECT_EQ(third->sensor(), owner);
  EXPECT_THAT(pointsOfTheSensor(), ElementsAre(1, 3, 2));
  owner->removeFromGraphPoints(first);
  EXPECT_EQ(first->sensor(), nullptr);
  EXPECT_THAT(pointsOfTheSensor(), ElementsAre(3, 2));
  owner->setGraphPoints({second, first});
  EXPECT_EQ(third->sensor(), nullptr);
  EXPECT_THAT(pointsOfTheSensor(), ElementsAre(2, 1));
  third->setSensor(owner);
  EXPECT_THAT(pointsOfTheSensor(), ElementsAre(2, 1, 3));
}

TEST_F(StoredRelationships, AFanSetHasFanConditions) {
  const auto owner = insert<KVFanSet>();
  const auto first = condition(50);
  const auto second = condition(60);
  owner->addToFanConditions(first);
  second->setFanSet(owner);
  EXPECT_EQ(first->fanSet(), owner);
  EXPECT_THAT(conditionsOfTheFanSet(), UnorderedElementsAre(50, 60));
  owner->removeFromFanConditions(first);
  EXPECT_EQ(first->fanSet(), nullptr);
  EXPECT_THAT(conditionsOfTheFanSet(), ElementsAre(60));
  owner->setFanConditions({first});
  EXPECT_EQ(second->fanSet(), nullptr);
  EXPECT_THAT(conditionsOfTheFanSet(), ElementsAre(50));
  owner->setFanConditions({});
  EXPECT_THAT(conditionsOfTheFanSet(), IsEmpty());
}

}  // namespace
}  // namespace kelvora
