// Custom sensors under faults of the disk, and beside other programs.
#include "tests/engine/StatementHook.h"
#include "tests/manager/CustomSensorsFixture.h"
#include "tests/support/ChildWork.h"
#include "tests/support/ForwardingMainBundle.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

TEST_F(CustomSensors, AFullDiskAddsNothingNowOrLater) {
  {
    const FullDisk full;
    expectFailed(add(infoOf("TCXX")), 0);
  }
  EXPECT_EQ(store().getSensorByKey("TCXX"), nullptr);
  EXPECT_FALSE(store().viewContext()->hasChanges());
  store().saveViewContext();
  EXPECT_THAT(storedKeys(), IsEmpty());
  added("TCXX");
  EXPECT_THAT(storedKeys(), ElementsAre("TCXX"));
  EXPECT_THAT(keysInCategory(0), ElementsAre("TCXX"));
}

TEST_F(CustomSensors, AFullDiskLeavesAnExistingOneAsOtherProgramsStoreIt) {
  const KVSensorPtr sensor = builtIn("TC0P");
  sensor->setValue(40);
  store().saveViewContext();
  {
    const FullDisk full;
    expectFailed(add(infoOf("TC0P", 99, 4)), 0);
  }
  EXPECT_EQ(sensor->value(), 40);
  EXPECT_EQ(sensor->categoryType(), 0U);
  const auto other = otherStore();
  other->getSensorByKey("TC0P")->setValue(50);
  other->saveViewContext();
  added("TCXX");
  EXPECT_EQ(otherStore()->getSensorByKey("TC0P")->value(), 50);
  EXPECT_EQ(otherStore()->getSensorByKey("TC0P")->category()->type(), 0);
}

TEST_F(CustomSensors, AFullDiskRemovesNothingNowOrLater) {
  const KVSensorPtr sensor = added("TCXX");
  store().createGraphPoint()->setSensor(sensor);
  store().saveViewContext();
  manager->setMenuSensors(std::vector<std::string>{"TCXX"});
  {
    const FullDisk full;
    expectFailed(remove(sensor), 0);
  }
  EXPECT_FALSE(sensor->isDeleted());
  EXPECT_EQ(sensor->graphPoints().size(), 1U);
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TCXX"));
  const auto other = otherStore();
  other->getSensorByKey("TCXX")->setValue(50);
  other->saveViewContext();
  builtIn("TC0P");
  EXPECT_EQ(otherStore()->getSensorByKey("TCXX")->value(), 50);
  EXPECT_EQ(sensor->value(), 50);
  expectDone(remove(sensor));
  EXPECT_THAT(storedKeys(), ElementsAre("TC0P"));
}

TEST_F(CustomSensors, AFullDiskKeepsTheHostsOwnChanges) {
  const KVSensorPtr sensor = added("TCXX");
  sensor->setValue(7);
  {
    const FullDisk full;
    expectFailed(add(infoOf("TCYY")), 0);
    expectFailed(remove(sensor), 0);
  }
  EXPECT_EQ(sensor->value(), 7);
  store().saveViewContext();
  EXPECT_EQ(otherStore()->getSensorByKey("TCXX")->value(), 7);
  EXPECT_THAT(storedKeys(), ElementsAre("TCXX"));
}

TEST_F(CustomSensors, AfterAnotherProgramClearedTheDataNothingSucceeds) {
  const KVSensorPtr sensor = added("TCXX");
  KVDataManager(*platform).clearData();
  ::testing::internal::CaptureStderr();
  expectFailed(add(infoOf("TCYY")), 0);
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("Save error: "));
  expectFailed(remove(sensor), 0);
  EXPECT_FALSE(std::filesystem::exists(storePath()));
  const auto fresh = otherStore();
  addCategory(*fresh, "Type 0", 0);
  addSensor(*fresh, "NEW", fresh->getCategoryWithType(0));
  fresh->saveViewContext();
  expectFailed(add(infoOf("TCYY")), 0);
  EXPECT_THAT(storedKeys(), ElementsAre("NEW"));
}

TEST_F(CustomSensors, WithoutAModelNothingSucceeds) {
  auto& bundle = testing::wrapPort<testing::ForwardingMainBundle>(platform->ports().mainBundle);
  bundle.onResourcePath = [](std::string_view, std::string_view) { return std::nullopt; };
  KVDataManager bare(*platform);
  expectFailed(addTo(bare, infoOf("TCXX")), 0);
  expectFailed(removeFrom(bare, added("TCYY")), 0);
}

// Which of the two stays depends on identities that each program draws: several programs see both.
TEST_F(CustomSensors, OneThatAnotherProgramSavesMeanwhileIsThereOnceWithTheValue) {
  for (int program = 0; program < 12; ++program) {
    const std::string key = "TW" + std::to_string(program);
    testing::StatementHook hook;
    KVDataManager late(*platform);
    const auto other = otherStore();
    const auto twin = other->createSensorWithCustomInfo({{"key", key}, {"name", "First"}});
    other->getCategoryWithType(0)->addToSensors(twin);
    late.coreDataStore().viewContext();
    hook.once("BEGIN IMMEDIATE", [&] { other->saveViewContext(); });
    expectDone(addTo(late, infoOf(key, 33)));
    EXPECT_FALSE(hook.isWaiting());
    const auto fresh = otherStore();
    EXPECT_EQ(fresh->allSensors()->size(), static_cast<std::size_t>(program) + 1);
    EXPECT_EQ(fresh->getSensorByKey(key)->value(), 33);
    EXPECT_EQ(fresh->getSensorByKey(key)->maxValue(), 110);
  }
}

// A program that records inserts the key as it reads it.
TEST_F(CustomSensors, OneThatIsFoundAtTheSameMomentIsJoinedWithItsHistory) {
  for (int i = 0; i < 6; ++i) {  // either may have the lesser identity
    const std::string key = "TF" + std::to_string(i);
    testing::StatementHook hook;
    KVDataManager late(*platform);
    const auto other = otherStore();
    const auto found = addSensor(*other, key, other->getCategoryWithType(0));
    const auto point = other->createGraphPoint();
    point->setPointY(20);
    point->setSensor(found);
    late.coreDataStore().viewContext();
    hook.once("BEGIN IMMEDIATE", [&] { other->saveViewContext(); });
    expectDone(addTo(late, infoOf(key, 33)));
    EXPECT_FALSE(hook.isWaiting());
    const auto fresh = otherStore();
    ASSERT_EQ(fresh->allSensors()->size(), static_cast<std::size_t>(i) + 1);
    EXPECT_TRUE(fresh->getSensorByKey(key)->isCustom());
    EXPECT_EQ(fresh->getSensorByKey(key)->graphPoints().size(), 1U);
  }
}

TEST_F(CustomSensors, OneWhoseCategoryIsJoinedWithAnotherMeanwhileIsInThatOne) {
  for (const double staleness : {-1.0, 0.0}) {
    testing::StatementHook hook;
    KVDataManager late(*platform);
    late.coreDataStore().viewContext()->setStalenessInterval(staleness);
    hook.once("BEGIN IMMEDIATE", [&] {
      const auto other = otherStore();
      const auto old = other->getCategoryWithType(0);
      const auto kept = other->createOrUpdateCategoryWithName("Kept", other->viewContext());
      for (const KVSensorPtr& sensor : old->sensors()) {
        sensor->setCategory(kept);
      }
      other->viewContext()->deleteObject(old);
      kept->setName("Type 0");
      other->saveViewContext();
    });
    const std::string key = staleness < 0 ? "TCXX" : "TCYY";
    expectDone(addTo(late, infoOf(key)));
    EXPECT_FALSE(hook.isWaiting());
    EXPECT_EQ(keysInCategory(0).back(), key);
  }
}

// Settings and store in files, as programs of one user have them.
class CustomSensorsOfTwoPrograms : public testing::StoreFixture {
 protected:
  CustomSensorsOfTwoPrograms() {
    ::setenv("XDG_CONFIG_HOME", temporary.path("config").c_str(), 1);
    platform = Platform::live();
    const auto store = makeStore();
    addCategory(*store, "Temperature", 0);
    store->saveViewContext();
  }

  static std::string key(const std::string& program, int number) {
    return program + std::to_string(number);
  }
  // A program that adds sensors of its own and some that the other adds too, and removes some of
  // its own; 0 when each call succeeded.
  static int addAndRemove(const std::string& program) {
    const auto live = Platform::live();
    KVDataManager manager(*live);
    int failures = 0;
    for (int i = 0; i < kSensors; ++i) {
      failures += addTo(manager, infoOf(key(program, i))).done ? 0 : 1;
      failures += addTo(manager, infoOf(key("both", i))).done ? 0 : 1;
      if (i % 2 == 1) {
        const auto sensor = manager.coreDataStore().getSensorByKey(key(program, i));
        failures += removeFrom(manager, sensor).done ? 0 : 1;
      }
    }
    return failures;
  }

  static constexpr int kSensors = 20;

  // The sensors that both programs remove, and one that stays.
  static std::vector<std::string> menu() {
    std::vector<std::string> keys{"stays"};
    for (int i = 1; i < kSensors; i += 2) {
      keys.push_back(key("one", i));
      keys.push_back(key("two", i));
    }
    return keys;
  }
};

TEST_F(CustomSensorsOfTwoPrograms, NothingIsLostAndNothingIsThereTwice) {
  KVDataManager(*platform).setMenuSensors(menu());
  testing::ChildWork one([] { return addAndRemove("one"); });
  testing::ChildWork two([] { return addAndRemove("two"); });
  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(two.wait(), 0);
  std::vector<std::string> expected;
  for (int i = 0; i < kSensors; ++i) {
    expected.push_back(key("both", i));
    if (i % 2 == 0) {
      expected.push_back(key("one", i));
      expected.push_back(key("two", i));
    }
  }
  EXPECT_THAT(KVDataManager(*platform).menuSensors().value(), ElementsAre("stays"));
  const auto store = makeStore();
  EXPECT_THAT(testing::keysOf(store->allSensors().value()), UnorderedElementsAreArray(expected));
  EXPECT_THAT(testing::keysOf(store->getCategoryWithType(0)->sensors()),
              UnorderedElementsAreArray(expected));
}

// Both programs have inserted the key before either saved it.
TEST_F(CustomSensors, OneThatAnotherProgramAddsAtTheSameMomentIsThereOnce) {
  for (const bool isOtherFirst : {true, false}) {
    const auto other = otherStore();
    const auto insert = [](KVCoreDataStore& into) {
      const auto made = into.createSensorWithCustomInfo({{"key", "TWIN"}, {"name", "Twin"}});
      into.getCategoryWithType(0)->addToSensors(made);
      return made->objectID();
    };
    const auto first = insert(isOtherFirst ? *other : store());
    const auto second = insert(isOtherFirst ? store() : *other);
    other->saveViewContext();
    expectDone(add(infoOf("TWIN", 33)));
    const auto fresh = otherStore();
    const auto stored = fresh->viewContext()->objectsOf("Sensor");
    ASSERT_EQ(stored->size(), 1U);
    EXPECT_EQ(stored->front()->objectID(), std::min(first, second));
    EXPECT_EQ(fresh->getSensorByKey("TWIN")->value(), 33);
    EXPECT_THAT(keysInCategory(0), ElementsAre("TWIN"));
    expectDone(remove(store().getSensorByKey("TWIN")));
  }
}

}  // namespace
}  // namespace kelvora
