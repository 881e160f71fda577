#include <limits>

#include "tests/engine/StatementHook.h"
#include "tests/support/ChildWork.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/RecordedNotices.h"
#include "tests/support/ResourceLimit.h"

namespace kelvora {
namespace {

using Info = PropertyListValue::Dictionary;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

struct Outcome {
  int calls = 0;
  bool done = false;
  std::optional<KVError> error;
};

Outcome addTo(KVDataManager& manager, const Info& info) {
  Outcome outcome;
  manager.addCustomSensor(info, [&](bool done, std::optional<KVError> error) {
    outcome = {outcome.calls + 1, done, std::move(error)};
  });
  return outcome;
}

Outcome removeFrom(KVDataManager& manager, const KVSensorPtr& sensor) {
  Outcome outcome;
  manager.removeCustomSensor(sensor, [&](bool done, std::optional<KVError> error) {
    outcome = {outcome.calls + 1, done, std::move(error)};
  });
  return outcome;
}

void expectDone(const Outcome& outcome) {
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_TRUE(outcome.done);
  EXPECT_FALSE(outcome.error.has_value());
}

void expectFailed(const Outcome& outcome, std::int64_t code) {
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_FALSE(outcome.done);
  ASSERT_TRUE(outcome.error.has_value());
  EXPECT_EQ(outcome.error->domain, KVErrorDomain);
  EXPECT_EQ(outcome.error->code, code);
}

Info infoOf(const std::string& key, double value = 21.5, std::int64_t type = 0) {
  return {{"key", key}, {"name", "Desk"}, {"category_type", type}, {"value", value}};
}

class CustomSensors : public testing::ManagerFixture {
 protected:
  CustomSensors() {
    for (const int type : {0, 1, 2, 3, 4}) {
      addCategory(store(), "Type " + std::to_string(type), static_cast<std::int16_t>(type));
    }
    store().saveViewContext();
  }

  Outcome add(const Info& info) { return addTo(*manager, info); }
  Outcome remove(const KVSensorPtr& sensor) { return removeFrom(*manager, sensor); }
  KVSensorPtr added(const std::string& key) {
    expectDone(add(infoOf(key)));
    return store().getSensorByKey(key);
  }
  KVSensorPtr builtIn(const std::string& key) {
    auto sensor = addSensor(store(), key, store().getCategoryWithType(0));
    sensor->setName("Built in");
    store().saveViewContext();
    return sensor;
  }
  std::vector<std::string> storedKeys() {
    return testing::keysOf(otherStore()->allSensors().value());
  }
  std::vector<std::string> keysInCategory(std::int64_t type) {
    return testing::keysOf(otherStore()->getCategoryWithType(type)->sensors());
  }
  // Every write of this process fails as on a full disk.
  struct FullDisk {
    testing::ResourceLimit limit{RLIMIT_FSIZE, 0};
  };
};

TEST_F(CustomSensors, AnAddedOneIsStoredWithItsNameValueAndCategory) {
  expectDone(add(infoOf("TCXX", 21.5)));
  const auto other = otherStore();
  const KVSensorPtr sensor = other->getSensorByKey("TCXX");
  ASSERT_NE(sensor, nullptr);
  EXPECT_EQ(sensor->name(), "Desk");
  EXPECT_EQ(sensor->fullName(), "Desk");
  EXPECT_TRUE(sensor->isCustom());
  EXPECT_EQ(sensor->value(), 21.5);
  EXPECT_EQ(sensor->category()->type(), 0);
}

TEST_F(CustomSensors, OnlyATemperatureGetsLimits) {
  for (const std::int64_t type : {0, 2, 3, 4}) {
    const std::string key = "K" + std::to_string(type);
    expectDone(add(infoOf(key, 1, type)));
    const KVSensorPtr sensor = store().getSensorByKey(key);
    EXPECT_EQ(sensor->minValue(), 0) << type;
    EXPECT_EQ(sensor->maxValue(), type == 0 ? 110 : 0) << type;
    EXPECT_EQ(sensor->categoryType(), type);
  }
}

TEST_F(CustomSensors, LimitsOfATemperatureReplaceOlderOnes) {
  const KVSensorPtr sensor = builtIn("TC0P");
  sensor->setMinValue(20);
  sensor->setMaxValue(50);
  expectDone(add(infoOf("TC0P")));
  EXPECT_EQ(sensor->minValue(), 0);
  EXPECT_EQ(sensor->maxValue(), 110);
}

TEST_F(CustomSensors, AnAddedOneComesLastInItsCategory) {
  builtIn("TC0P");
  added("TCXX");
  added("TCAA");
  EXPECT_THAT(keysInCategory(0), ElementsAre("TC0P", "TCXX", "TCAA"));
  added("TC0P");  // an existing one moves to the end
  EXPECT_THAT(keysInCategory(0), ElementsAre("TCXX", "TCAA", "TC0P"));
}

struct Extremes {
  double recordedMinimum, recordedMaximum;
  std::vector<double> history;
  double value;
  double minimum, maximum;
};

// -1 means that nothing was recorded, and is compared like any other number.
TEST_F(CustomSensors, TheRecordedExtremesAreThoseOfHistoryAndValue) {
  const std::vector<Extremes> cases{
      {-1, -1, {}, 21.5, -1, 21.5},   {-1, -1, {}, -5, -5, -1},
      {10, 40, {}, 21.5, 10, 40},     {10, 40, {}, 5, 5, 40},
      {10, 40, {}, 50, 10, 50},       {10, 40, {20, 30}, 25, 20, 30},
      {10, 40, {20, 30}, 35, 20, 35}, {10, 40, {20, 30}, 15, 15, 30},
  };
  for (const Extremes& expected : cases) {
    const std::string key = "K" + std::to_string(&expected - cases.data());
    const KVSensorPtr sensor = builtIn(key);
    sensor->setRecordedMinValue(expected.recordedMinimum);
    sensor->setRecordedMaxValue(expected.recordedMaximum);
    for (const double value : expected.history) {
      const auto point = store().createGraphPoint();
      point->setPointY(value);
      point->setSensor(sensor);
    }
    expectDone(add(infoOf(key, expected.value)));
    EXPECT_EQ(sensor->recordedMinValue(), expected.minimum) << key;
    EXPECT_EQ(sensor->recordedMaxValue(), expected.maximum) << key;
  }
}

TEST_F(CustomSensors, AnExistingOneKeepsItsNamesAndTakesTheRest) {
  const KVSensorPtr sensor = builtIn("TC0P");
  expectDone(add(infoOf("TC0P", 7, 4)));
  EXPECT_EQ(sensor->name(), "Built in");
  EXPECT_FALSE(sensor->isCustom());
  EXPECT_EQ(sensor->value(), 7);
  EXPECT_THAT(keysInCategory(4), ElementsAre("TC0P"));
  EXPECT_THAT(keysInCategory(0), IsEmpty());
  EXPECT_THAT(storedKeys(), ElementsAre("TC0P"));
}

TEST_F(CustomSensors, AMissingTypeIsTemperatureAndAMissingValueIs0) {
  expectDone(add({{"key", "TCXX"}, {"name", "Desk"}}));
  EXPECT_THAT(keysInCategory(0), ElementsAre("TCXX"));
  EXPECT_EQ(store().getSensorByKey("TCXX")->value(), 0);
}

TEST_F(CustomSensors, TypeAndValueMayBeTexts) {
  expectDone(add({{"key", "PX"}, {"name", "Desk"}, {"category_type", "4"}, {"value", "12.5"}}));
  EXPECT_THAT(keysInCategory(4), ElementsAre("PX"));
  EXPECT_EQ(store().getSensorByKey("PX")->value(), 12.5);
}

TEST_F(CustomSensors, OneWithoutKeyOrNameOrCategoryIsRefused) {
  expectFailed(add({{"name", "Desk"}, {"value", 1.0}}), 0);
  expectFailed(add({{"key", "TCXX"}, {"value", 1.0}}), 0);
  expectFailed(add(infoOf("TCXX", 1, 7)), 0);
  EXPECT_THAT(storedKeys(), IsEmpty());
  EXPECT_FALSE(store().viewContext()->hasChanges());
}

TEST_F(CustomSensors, AFanIsRefused) {
  expectFailed(add(infoOf("F9Ac", 1200, 1)), 0);
  EXPECT_THAT(storedKeys(), IsEmpty());
}

TEST_F(CustomSensors, ErrorsAreInTheUsersLanguage) {
  manager->setCurrentLanguage("de");
  const Outcome outcome = add(infoOf("F9Ac", 1200, 1));
  EXPECT_EQ(outcome.error->localizedDescription(),
            "Ein Fehler ist aufgetreten. Bitte versuchen Sie es erneut.");
}

TEST_F(CustomSensors, ACompletionIsNotNeeded) {
  manager->addCustomSensor(infoOf("TCXX"), {});
  EXPECT_THAT(storedKeys(), ElementsAre("TCXX"));
  manager->removeCustomSensor(store().getSensorByKey("TCXX"), {});
  manager->removeCustomSensor(nullptr, {});
  EXPECT_THAT(storedKeys(), IsEmpty());
}

TEST_F(CustomSensors, ARemovedOneIsGoneWithItsHistory) {
  const KVSensorPtr sensor = added("TCXX");
  added("TCYY");
  store().createGraphPoint()->setSensor(sensor);
  expectDone(remove(sensor));
  EXPECT_THAT(storedKeys(), ElementsAre("TCYY"));
  EXPECT_THAT(keysInCategory(0), ElementsAre("TCYY"));
  EXPECT_THAT(otherStore()->viewContext()->objectsOf("GraphPoint").value(), IsEmpty());
}

TEST_F(CustomSensors, ABuiltInOneIsNotRemoved) {
  const KVSensorPtr sensor = builtIn("TC0P");
  manager->setMenuSensors(std::vector<std::string>{"TC0P"});
  testing::RecordedNotices notices(*platform);
  notices.take();
  store().createGraphPoint();  // an unsaved change of the host's stays unsaved
  const Outcome outcome = remove(sensor);
  expectFailed(outcome, 4);
  EXPECT_NE(outcome.error->localizedDescription(),
            KVError::errorWithCode(0, *manager, *platform).localizedDescription());
  EXPECT_THAT(storedKeys(), ElementsAre("TC0P"));
  EXPECT_TRUE(store().viewContext()->hasChanges());
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TC0P"));
  EXPECT_TRUE(notices.take().empty());
}

TEST_F(CustomSensors, NoSensorIsNotRemoved) { expectFailed(remove(nullptr), 4); }

TEST_F(CustomSensors, OneOfAnotherStoreIsNotRemoved) {
  added("TCXX");
  const auto other = otherStore();
  expectFailed(remove(other->getSensorByKey("TCXX")), 0);
  EXPECT_THAT(storedKeys(), ElementsAre("TCXX"));
}

TEST_F(CustomSensors, OneOfAChildContextIsRemoved) {
  added("TCXX");
  const auto child = store().newContext();
  expectDone(remove(store().getSensorByKey("TCXX", child)));
  EXPECT_THAT(storedKeys(), IsEmpty());
}

TEST_F(CustomSensors, ARemovedOneLeavesTheMenuWhichIsAnnounced) {
  const KVSensorPtr sensor = added("TCXX");
  manager->setMenuSensors(std::vector<std::string>{"TC0P", "TCXX", "TB0T"});
  testing::RecordedNotices notices(*platform);
  notices.take();
  expectDone(remove(sensor));
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TC0P", "TB0T"));
  const auto heard = notices.take();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].name, KVDataManagerMenuSensorsDidChangeNotification);
}

TEST_F(CustomSensors, TheMenuIsAnnouncedAlsoIfItDidNotHaveIt) {
  manager->setMenuSensors(std::vector<std::string>{"TC0P"});
  testing::RecordedNotices notices(*platform);
  notices.take();
  expectDone(remove(added("TCXX")));
  EXPECT_EQ(notices.take().size(), 1U);
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TC0P"));
  manager->setMenuSensors(std::nullopt);
  notices.take();
  expectDone(remove(added("TCXX")));
  EXPECT_EQ(notices.take().size(), 1U);
  EXPECT_EQ(manager->menuSensors(), std::nullopt);
}

// The host's own unsaved changes are saved with it.
TEST_F(CustomSensors, UnsavedChangesOfTheHostAreSavedToo) {
  addSensor(store(), "TB0T", store().getCategoryWithType(0));
  added("TCXX");
  EXPECT_THAT(storedKeys(), ElementsAre("TB0T", "TCXX"));
}

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
