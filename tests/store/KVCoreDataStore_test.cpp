#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class KVCoreDataStoreTest : public testing::StoreFixture {};

PropertyListValue::Dictionary info(const char* key, const char* name, int type) {
  return {{"key", key}, {"name", name}, {"category_type", type}};
}

class OtherBundle : public platform::MainBundle {
 public:
  explicit OtherBundle(std::optional<std::string> path) : path_(std::move(path)) {}
  std::string executablePath() override { return "/nowhere"; }
  std::optional<std::string> resourcePath(std::string_view name, std::string_view type) override {
    return name == "Database" && type == "momd" ? path_ : std::nullopt;
  }
  std::vector<std::string> preferredLocalizations() override { return {}; }
  std::optional<PropertyListValue::Dictionary> informationDictionary(const std::string&) override {
    return std::nullopt;
  }

 private:
  std::optional<std::string> path_;
};

TEST_F(KVCoreDataStoreTest, NothingIsOpenedBeforeItIsAskedFor) {
  const auto store = makeStore(-1);
  EXPECT_EQ(store->stalenessInterval(), -1);
  EXPECT_FALSE(std::filesystem::exists(storePath()));
  ASSERT_NE(store->viewContext(), nullptr);
  EXPECT_TRUE(std::filesystem::exists(storePath()));
  EXPECT_TRUE(std::filesystem::exists(storePath() + "-wal"));
  EXPECT_EQ(store->applicationDocumentsDirectory(), folder());
}

TEST_F(KVCoreDataStoreTest, ModelCoordinatorAndViewContextAreMadeOnce) {
  const auto store = makeStore(0);
  EXPECT_EQ(store->viewContext(), store->viewContext());
  EXPECT_EQ(store->viewContext()->stalenessInterval(), 0);
  EXPECT_EQ(store->persistentStoreCoordinator(), store->persistentStoreCoordinator());
  EXPECT_EQ(store->managedObjectModel()->entities().size(), 5U);
  const auto child = store->newContext();
  EXPECT_NE(child, store->newContext());
  EXPECT_EQ(child->parentContext(), store->viewContext());
  EXPECT_EQ(store->viewContext()->parentContext(), nullptr);
}

TEST_F(KVCoreDataStoreTest, ACategoryOfTheSameNameIsTheSameObject) {
  const auto store = makeStore();
  const auto first = store->createOrUpdateCategoryWithName("Temperature", store->viewContext());
  const auto second = store->createOrUpdateCategoryWithName("Temperature", store->viewContext());
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->name(), "Temperature");
  EXPECT_EQ(first->type(), 0);
  store->saveViewContext();
  EXPECT_EQ(store->createOrUpdateCategoryWithName("Temperature", store->viewContext()), first);
  EXPECT_EQ(store->getCategoryWithName("Temperature"), first);
  EXPECT_EQ(store->getCategoryWithName("Fan"), nullptr);
}

TEST_F(KVCoreDataStoreTest, AFreshStoreHasNoCategories) {
  const auto store = makeStore();
  EXPECT_THAT(store->allCategories().value(), IsEmpty());
  EXPECT_THAT(store->allValidCategories().value(), IsEmpty());
  EXPECT_THAT(store->allSensors().value(), IsEmpty());
  EXPECT_THAT(store->fanSensors().value(), IsEmpty());
  EXPECT_EQ(store->tempSensors(), std::nullopt);
}

TEST_F(KVCoreDataStoreTest, CategoriesAreListedByTypeAndValidOnesHaveSensors) {
  const auto store = makeStore();
  const auto power = addCategory(*store, "Power", 4);
  const auto fan = addCategory(*store, "Fan", 1);
  const auto temperature = addCategory(*store, "Temperature", 0);
  addSensor(*store, "TC0P", temperature);
  addSensor(*store, "PC0C", power);
  for (int saved = 0; saved < 2; ++saved) {
    EXPECT_THAT(store->allCategories().value(), ElementsAre(temperature, fan, power));
    EXPECT_THAT(store->allValidCategories().value(), ElementsAre(temperature, power));
    EXPECT_EQ(store->getCategoryWithType(1), fan);
    EXPECT_EQ(store->getCategoryWithType(2), nullptr);
    EXPECT_EQ(store->categoryWhere(Predicate("type > %d", {1})), power);
    EXPECT_EQ(store->categoryWhere(Predicate("type > 1"), store->viewContext()), power);
    store->saveViewContext();
  }
}

TEST_F(KVCoreDataStoreTest, ASensorIsMadeOncePerKeyWithOnlyTheKeySet) {
  const auto store = makeStore();
  const auto sensor = store->createSensorWithKey("TC0P", store->viewContext());
  EXPECT_EQ(store->createSensorWithKey("TC0P", store->viewContext()), sensor);
  EXPECT_EQ(sensor->key(), "TC0P");
  EXPECT_EQ(sensor->name(), "");
  EXPECT_EQ(sensor->value(), 0);
  EXPECT_EQ(sensor->recordedMinValue(), -1);
  EXPECT_EQ(sensor->recordedMaxValue(), -1);
  EXPECT_FALSE(sensor->average());
  EXPECT_EQ(sensor->category(), nullptr);
  EXPECT_EQ(store->getSensorByKey("TC0P"), sensor);
  EXPECT_EQ(store->getSensorByKey("TC1P"), nullptr);
  EXPECT_EQ(store->sensorWhere(Predicate("key BEGINSWITH 'TC'"), store->viewContext()), sensor);
  EXPECT_THAT(store->allSensors().value(), ElementsAre(sensor));
}

TEST_F(KVCoreDataStoreTest, ACustomFanSensorIsRefusedAndInsertsNothing) {
  const auto store = makeStore();
  EXPECT_EQ(store->createSensorWithCustomInfo(info("F9Ac", "My fan", 1)), nullptr);
  EXPECT_FALSE(store->viewContext()->hasChanges());
}

TEST_F(KVCoreDataStoreTest, ACustomSensorNeedsAKeyAndAName) {
  const auto store = makeStore();
  EXPECT_EQ(store->createSensorWithCustomInfo({{"name", "Mine"}, {"category_type", 0}}), nullptr);
  EXPECT_EQ(store->createSensorWithCustomInfo({{"key", "TX0P"}, {"category_type", 0}}), nullptr);
  EXPECT_FALSE(store->viewContext()->hasChanges());
  const auto sensor = store->createSensorWithCustomInfo(info("TX0P", "Mine", 0));
  ASSERT_NE(sensor, nullptr);
  EXPECT_EQ(sensor->key(), "TX0P");
  EXPECT_EQ(sensor->name(), "Mine");
  EXPECT_EQ(sensor->fullName(), "Mine");
  EXPECT_TRUE(sensor->isCustom());
  EXPECT_EQ(sensor->category(), nullptr);
}

TEST_F(KVCoreDataStoreTest, ACustomSensorOfAKnownKeyIsTheKnownSensorUnchanged) {
  const auto store = makeStore();
  const auto known = store->createSensorWithKey("TC0P", store->viewContext());
  known->setName("CPU Proximity");
  EXPECT_EQ(store->createSensorWithCustomInfo(info("TC0P", "Mine", 0)), known);
  EXPECT_EQ(known->name(), "CPU Proximity");
  EXPECT_FALSE(known->isCustom());
}

TEST_F(KVCoreDataStoreTest, FanListsLeaveOutComputedSensorsAndTemperatureListsKeepThem) {
  const auto store = makeStore();
  const auto temperature = addCategory(*store, "Temperature", 0);
  const auto fan = addCategory(*store, "Fan", 1);
  addSensor(*store, "FastestFan", fan, 2);
  addSensor(*store, "0", fan);
  addSensor(*store, "TC0P", temperature);
  addSensor(*store, "AverageCPU", temperature, 2);
  addSensor(*store, "hid", temperature, 1);
  for (int saved = 0; saved < 2; ++saved) {
    EXPECT_THAT(testing::keysOf(store->fanSensors().value()), ElementsAre("0"));
    EXPECT_THAT(testing::keysOf(store->tempSensors().value()),
                ElementsAre("TC0P", "AverageCPU", "hid"));
    EXPECT_EQ(store->allSensors()->size(), 5U);
    store->saveViewContext();
  }
  const auto child = store->newContext();
  EXPECT_THAT(testing::keysOf(store->fanSensorsInContext(child).value()), ElementsAre("0"));
  EXPECT_THAT(testing::keysOf(store->tempSensorsInContext(child).value()),
              ElementsAre("TC0P", "AverageCPU", "hid"));
  EXPECT_EQ(store->allSensorsInContext(child)->size(), 5U);
  EXPECT_NE(store->getSensorByKey("TC0P", child), store->getSensorByKey("TC0P"));
}

TEST_F(KVCoreDataStoreTest, TemperaturesFollowTheOrderOfTheirCategory) {
  const auto store = makeStore();
  const auto category = addCategory(*store, "Temperature", 0);
  for (const char* key : {"a", "b", "c", "d"}) {
    addSensor(*store, key, category);
  }
  store->saveViewContext();
  category->insertIntoSensors(store->getSensorByKey("d"), 0);
  category->insertIntoSensors(store->getSensorByKey("a"), 2);
  store->saveViewContext();
  EXPECT_THAT(testing::keysOf(store->tempSensors().value()), ElementsAre("d", "b", "a", "c"));
  EXPECT_THAT(testing::keysOf(makeStore()->tempSensors().value()), ElementsAre("d", "b", "a", "c"));
}

TEST_F(KVCoreDataStoreTest, AGraphPointIsMadeEmpty) {
  const auto store = makeStore();
  const auto point = store->createGraphPoint();
  EXPECT_EQ(point->pointX(), 0);
  EXPECT_EQ(point->timeRange(), 0);
  EXPECT_EQ(point->sensor(), nullptr);
  EXPECT_EQ(point->managedObjectContext(), store->viewContext());
  const auto child = store->newContext();
  EXPECT_EQ(store->createGraphPointInContext(child)->managedObjectContext(), child);
}

TEST_F(KVCoreDataStoreTest, AFanConditionIsActiveUnlessSetOtherwise) {
  const auto store = makeStore();
  const auto condition = std::dynamic_pointer_cast<KVFanCondition>(
      store->viewContext()->insertNewObject("FanCondition"));
  EXPECT_TRUE(condition->active());
  EXPECT_EQ(condition->created(), std::nullopt);
}

TEST_F(KVCoreDataStoreTest, EveryAttributeOfTheClassesIsInTheModel) {
  const auto store = makeStore();
  ASSERT_NE(store->viewContext(), nullptr);
  for (const engine::EntityDescription& entity : store->managedObjectModel()->entities()) {
    EXPECT_FALSE(entity.classColumns.empty()) << entity.name;
    for (const auto& column : entity.classColumns) {
      EXPECT_TRUE(column.has_value()) << entity.name;
    }
  }
}

TEST_F(KVCoreDataStoreTest, AllValuesComeBackFromTheFile) {
  const auto noon = ManagedDate(std::chrono::nanoseconds(1700000000123456789));
  {
    const auto store = makeStore();
    const auto sensor = store->createSensorWithKey("TC0P", store->viewContext());
    sensor->setFullName("Größe 'quoted'");
    sensor->setValue(61.25);
    sensor->setPlatform(511);
    sensor->setAverage(true);
    const auto set = std::dynamic_pointer_cast<KVFanSet>(
        store->viewContext()->insertNewObject(KVFanSet::kEntityName));
    set->setCreated(noon);
    set->setValue({std::byte{0}, std::byte{255}});
    store->saveViewContext();
  }
  const auto store = makeStore();
  const auto sensor = store->getSensorByKey("TC0P");
  ASSERT_NE(sensor, nullptr);
  EXPECT_EQ(sensor->fullName(), "Größe 'quoted'");
  EXPECT_EQ(sensor->value(), 61.25);
  EXPECT_EQ(sensor->platform(), 511);
  EXPECT_TRUE(sensor->average());
  const auto set =
      std::dynamic_pointer_cast<KVFanSet>(store->viewContext()->objectOf("FanSet", std::nullopt));
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(set->created(), noon);
  EXPECT_EQ(set->value(), (ManagedData{std::byte{0}, std::byte{255}}));
}

TEST_F(KVCoreDataStoreTest, RefreshingTheViewContextRunsLaterOnTheMainQueue) {
  const auto store = makeStore();
  const auto sensor = store->createSensorWithKey("TC0P", store->viewContext());
  store->saveViewContext();
  store->refreshAllObjectsInViewContext();
  EXPECT_FALSE(sensor->isFault());
  EXPECT_EQ(platform->mainQueue().runPending(), 1);
  EXPECT_TRUE(sensor->isFault());
  EXPECT_EQ(sensor->key(), "TC0P");
}

TEST_F(KVCoreDataStoreTest, WithoutAGroupContainerThereIsNoStore) {
  testing::wrapPort<testing::ForwardingFiles>(platform->ports().files).onGroupContainer =
      [](const std::string&) { return std::nullopt; };
  const auto store = makeStore();
  EXPECT_EQ(store->applicationDocumentsDirectory(), "");
  ASSERT_NE(store->viewContext(), nullptr);
  EXPECT_FALSE(store->persistentStoreCoordinator()->hasStore());
  EXPECT_EQ(store->allSensors(), std::nullopt);
}

class KVCoreDataStoreWithoutModel : public KVCoreDataStoreTest,
                                    public ::testing::WithParamInterface<const char*> {};

TEST_P(KVCoreDataStoreWithoutModel, ReturnsNothing) {
  std::optional<std::string> path;
  if (GetParam() != nullptr) {
    path = home + "/broken.momd";
    std::ofstream(*path) << GetParam();
  }
  platform->ports().mainBundle = std::make_unique<OtherBundle>(path);
  const auto store = makeStore();
  EXPECT_EQ(store->managedObjectModel(), nullptr);
  EXPECT_EQ(store->persistentStoreCoordinator(), nullptr);
  EXPECT_EQ(store->viewContext(), nullptr);
  EXPECT_EQ(store->allCategories(), std::nullopt);
  EXPECT_EQ(store->allValidCategories(), std::nullopt);
  EXPECT_EQ(store->allSensors(), std::nullopt);
  EXPECT_EQ(store->fanSensors(), std::nullopt);
  EXPECT_EQ(store->tempSensors(), std::nullopt);
  EXPECT_EQ(store->getSensorByKey("TC0P"), nullptr);
  EXPECT_EQ(store->getCategoryWithType(0), nullptr);
  EXPECT_EQ(store->createSensorWithCustomInfo(info("TX0P", "Mine", 0)), nullptr);
  EXPECT_EQ(store->createGraphPoint(), nullptr);
  store->saveViewContext();
  store->refreshAllObjectsInViewContext();
  const auto context = store->newContext();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(store->createSensorWithKey("TC0P", context), nullptr);
  EXPECT_EQ(store->allSensorsInContext(context), std::nullopt);
  context->saveRecursively();
  EXPECT_FALSE(std::filesystem::exists(storePath()));
}

INSTANTIATE_TEST_SUITE_P(MissingAndBroken, KVCoreDataStoreWithoutModel,
                         ::testing::Values(nullptr, "", "{", "[]", R"({"entities": 3})",
                                           R"({"entities": [{"name": "A B"}]})"));

}  // namespace
}  // namespace kelvora
