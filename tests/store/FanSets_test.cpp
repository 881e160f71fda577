// Fan sets and fan conditions.
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVSettings.h"

#include "base/KeyedArchive.h"
#include "tests/support/ArchiveText.h"
#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using Dictionary = PropertyListValue::Dictionary;
using std::chrono::system_clock;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FanSets : public testing::StoreFixture {
 protected:
  FanSets() {
    platform->ports().userDefaults = std::make_unique<platform::MemoryUserDefaults>();
    settings = std::make_unique<KVSettings>(*platform);
    store = std::make_unique<KVCoreDataStore>(-1, *platform, *settings);
  }

  KVFanSetPtr addSet(const std::string& name, const Dictionary& speeds = {}) {
    return store->createFanSetWithName(name, speeds);
  }
  KVSensorPtr sensor(const std::string& key = "TC0P") {
    return store->createSensorWithKey(key, store->viewContext());
  }
  KVFanConditionPtr addCondition(const KVFanSetPtr& set, double threshold = 70) {
    return store->createFanConditionWithFanSet(set, sensor(), threshold, 0, false,
                                               store->viewContext());
  }
  static system_clock::time_point second(int number) {
    return system_clock::time_point(std::chrono::seconds(number));
  }

  std::unique_ptr<KVSettings> settings;
  std::unique_ptr<KVCoreDataStore> store;
};

template <typename T>
std::vector<std::string> namesOf(const std::optional<std::vector<std::shared_ptr<T>>>& objects) {
  std::vector<std::string> names;
  for (const auto& object : objects.value()) {
    names.push_back(object->name());
  }
  return names;
}

TEST_F(FanSets, ANewSetHasNameSpeedsTimeAndIdentifierAndIsUnsaved) {
  const auto before = system_clock::now();
  const KVFanSetPtr set = addSet("Quiet", {{"F0", 1200}});
  const auto after = system_clock::now();
  EXPECT_EQ(set->name(), "Quiet");
  EXPECT_EQ(set->valueDict(), (Dictionary{{"F0", 1200}}));
  EXPECT_GE(set->created(), before);
  EXPECT_LE(set->created(), after);
  EXPECT_TRUE(set->isInserted());
  const auto second = std::chrono::round<std::chrono::seconds>(set->created()->time_since_epoch());
  EXPECT_EQ(set->identifier(), std::to_string(second.count()));
}

TEST_F(FanSets, ASetIsMadeInTheGivenContext) {
  const auto context = store->newContext();
  const KVFanSetPtr set = store->createFanSetWithName("Quiet", {}, context);
  EXPECT_EQ(set->managedObjectContext(), context);
  EXPECT_THAT(namesOf(store->allFanSetsInContext(context)), ElementsAre("Quiet"));
  EXPECT_THAT(namesOf(store->allFanSets()), IsEmpty());
  EXPECT_EQ(store->createFanSetWithName("Quiet", {}, nullptr), nullptr);
}

TEST_F(FanSets, SpeedsAreStoredAsAnArchive) {
  const Dictionary speeds = {{"F0", 1200},
                             {"F1", 1500.5},
                             {"auto", true},
                             {"name", "a"},
                             {"bytes", PropertyListValue::Data{std::byte{1}}},
                             {"more", Dictionary{{"F2", 1}}}};
  const KVFanSetPtr set = addSet("Quiet", speeds);
  EXPECT_EQ(set->valueDict(), speeds);
  EXPECT_EQ(readKeyedArchive(*set->value(), {"NSDictionary", "NSNumber", "NSString", "NSData"}),
            archiveValueOf(speeds));
  store->saveViewContext();
  const auto other = makeStore();
  EXPECT_EQ(other->allFanSets()->front()->valueDict(), speeds);
  set->setValueDict({});
  EXPECT_EQ(set->valueDict(), Dictionary());
}

TEST_F(FanSets, SpeedsThatAreNotADictionaryReturnNone) {
  const KVFanSetPtr set = addSet("Quiet");
  const std::vector<ArchiveValue> roots = {
      "text",
      std::int64_t{1},
      ArchiveValue(),
      ArchiveValue::Array{},
      ArchiveValue::Dictionary{{"F0", ArchiveValue::Array{}}},
      ArchiveValue::Dictionary{{"F0", ArchiveValue::Date()}},
      ArchiveValue::Dictionary{{"F0", ArchiveValue()}},
      ArchiveValue::Dictionary{{"F0", ArchiveValue::Object("KVNotification")}}};
  for (const ArchiveValue& root : roots) {
    set->setValue(keyedArchive(root));
    EXPECT_EQ(set->valueDict(), std::nullopt);
  }
  set->setValue({std::byte{1}});
  EXPECT_EQ(set->valueDict(), std::nullopt);
  set->setAttribute("value", {});
  EXPECT_EQ(set->valueDict(), std::nullopt);
}

TEST_F(FanSets, ASetIsFoundByItsIdentifier) {
  const KVFanSetPtr first = addSet("First");
  const KVFanSetPtr second = addSet("Second");
  first->setIdentifier("1");
  second->setIdentifier("2");
  EXPECT_EQ(store->getFanSetById("2"), second);
  EXPECT_EQ(store->getFanSetById("3"), nullptr);
  second->setAttribute("identifier", {});
  EXPECT_EQ(store->getFanSetById(std::nullopt), nullptr);
}

TEST_F(FanSets, TheFirstOfTwoSetsOfOneSecondIsFound) {
  const KVFanSetPtr first = addSet("First");
  const KVFanSetPtr second = addSet("Second");
  second->setIdentifier(first->identifier());
  store->saveViewContext();
  EXPECT_EQ(store->getFanSetById(first->identifier()), first);
}

TEST_F(FanSets, AreListedOldestFirst) {
  addSet("b")->setCreated(second(2));
  addSet("c")->setCreated(second(3));
  addSet("a")->setCreated(second(1));
  EXPECT_THAT(namesOf(store->allFanSets()), ElementsAre("a", "b", "c"));
  EXPECT_THAT(namesOf(store->allFanSetsInContext(store->newContext())), ElementsAre("a", "b", "c"));
  EXPECT_EQ(store->allFanSetsInContext(nullptr), std::nullopt);
}

TEST_F(FanSets, TheManualSetIsTheOneOfTheSetting) {
  const KVFanSetPtr set = addSet("Quiet");
  EXPECT_FALSE(set->isManualFanSet());
  settings->setManualFanSetId("another");
  EXPECT_FALSE(set->isManualFanSet());
  settings->setManualFanSetId(set->identifier());
  EXPECT_TRUE(set->isManualFanSet());
  settings->setManualFanSetId(std::nullopt);
  EXPECT_FALSE(set->isManualFanSet());
}

TEST_F(FanSets, ASetWithoutAnIdentifierIsNeverTheManualOne) {
  const KVFanSetPtr set = addSet("Quiet");
  set->setIdentifier("");
  settings->setManualFanSetId("");
  EXPECT_FALSE(set->isManualFanSet());
}

using FanConditions = FanSets;

TEST_F(FanConditions, ANewConditionHasWhatWasGivenAndIsActiveAndUnsaved) {
  const KVFanSetPtr set = addSet("Quiet");
  const auto before = system_clock::now();
  const KVFanConditionPtr condition =
      store->createFanConditionWithFanSet(set, sensor("TG0P"), 72.5, 3, true, store->viewContext());
  const auto after = system_clock::now();
  EXPECT_EQ(condition->fanSet(), set);
  EXPECT_EQ(condition->sensorKey(), "TG0P");
  EXPECT_EQ(condition->threshold(), 72.5);
  EXPECT_EQ(condition->batteryState(), 3);
  EXPECT_TRUE(condition->externalDisplayConnected());
  EXPECT_TRUE(condition->active());
  EXPECT_GE(condition->created(), before);
  EXPECT_LE(condition->created(), after);
  EXPECT_TRUE(condition->isInserted());
  EXPECT_THAT(set->fanConditions(), ElementsAre(condition));
}

TEST_F(FanConditions, WithoutASetOrASensorNothingIsMade) {
  const auto view = store->viewContext();
  const KVFanSetPtr set = addSet("Quiet");
  EXPECT_EQ(store->createFanConditionWithFanSet(nullptr, sensor(), 1, 0, false, view), nullptr);
  EXPECT_EQ(store->createFanConditionWithFanSet(set, nullptr, 1, 0, false, view), nullptr);
  EXPECT_EQ(store->createFanConditionWithFanSet(set, sensor(), 1, 0, false, nullptr), nullptr);
  EXPECT_THAT(store->allFanConditions().value(), IsEmpty());
}

TEST_F(FanConditions, ASetThatTheContextDoesNotSeeCountsAsMissing) {
  const auto context = store->newContext();
  const KVFanSetPtr unsaved = store->createFanSetWithName("Quiet", {}, store->newContext());
  EXPECT_EQ(store->createFanConditionWithFanSet(unsaved, sensor(), 1, 0, false, context), nullptr);
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(FanConditions, AreListedOldestFirst) {
  const KVFanSetPtr set = addSet("Quiet");
  addCondition(set, 2)->setCreated(second(2));
  addCondition(set, 3)->setCreated(second(3));
  addCondition(set, 1)->setCreated(second(1));
  for (const auto& context : {store->viewContext(), store->newContext()}) {
    std::vector<double> thresholds;
    const auto conditions = store->allFanConditionsInContext(context);
    for (const KVFanConditionPtr& condition : conditions.value()) {
      thresholds.push_back(condition->threshold());
    }
    EXPECT_THAT(thresholds, ElementsAre(1, 2, 3));
  }
  EXPECT_EQ(store->allFanConditions()->size(), 3U);
  EXPECT_EQ(store->allFanConditionsInContext(nullptr), std::nullopt);
}

TEST_F(FanConditions, TheSensorIsLookedUpInTheContextOnEveryCall) {
  const KVFanConditionPtr condition = addCondition(addSet("Quiet"));
  EXPECT_EQ(condition->sensor(), sensor());
  store->viewContext()->deleteObject(sensor());
  EXPECT_EQ(condition->sensor(), nullptr);
  const KVSensorPtr again = sensor();
  EXPECT_EQ(condition->sensor(), again);

  const auto context = store->newContext();
  const auto own = store->allFanConditionsInContext(context)->front();
  EXPECT_EQ(own->sensor()->managedObjectContext(), context);
}

TEST_F(FanConditions, ASensorIsGoneWithItsContext) {
  const KVFanConditionPtr condition = addCondition(addSet("Quiet"));
  store.reset();
  EXPECT_EQ(condition->sensor(), nullptr);
}

TEST_F(FanConditions, AreDescribedInFiveLines) {
  const KVFanConditionPtr condition = store->createFanConditionWithFanSet(
      addSet("Quiet"), sensor(), 72.9, 2, true, store->viewContext());
  EXPECT_EQ(condition->description(),
            "Fan set: Quiet\nSensor: TC0P\nThreshold: 72\nBattery State: 2\nExternal Display: 1");
  condition->setThreshold(-72.9);
  condition->setBatteryState(-1);
  condition->setExternalDisplayConnected(false);
  EXPECT_EQ(condition->description(),
            "Fan set: Quiet\nSensor: TC0P\nThreshold: -72\nBattery State: -1\nExternal Display: 0");
}

TEST_F(FanConditions, WhatIsMissingIsDescribedAsNull) {
  const KVFanConditionPtr condition = addCondition(addSet("Quiet"));
  condition->fanSet()->setAttribute("name", {});
  condition->setAttribute("sensorKey", {});
  const std::string rest = "\nThreshold: 70\nBattery State: 0\nExternal Display: 0";
  EXPECT_EQ(condition->description(), "Fan set: (null)\nSensor: (null)" + rest);
  condition->setFanSet(nullptr);
  condition->setSensorKey("");
  EXPECT_EQ(condition->description(), "Fan set: (null)\nSensor: " + rest);
}

TEST_F(FanConditions, AThresholdBeyondAWholeNumberIsDescribedAsTheNearest) {
  const KVFanConditionPtr condition = addCondition(addSet("Quiet"));
  const auto described = [&](double threshold) {
    condition->setThreshold(threshold);
    const std::string text = condition->description();
    const std::size_t start = text.find("Threshold: ") + 11;
    return text.substr(start, text.find('\n', start) - start);
  };
  EXPECT_EQ(described(1e300), "2147483647");
  EXPECT_EQ(described(-1e300), "-2147483648");
}

TEST_F(FanConditions, GoWithTheirSet) {
  const KVFanSetPtr set = addSet("Quiet");
  addCondition(set);
  store->saveViewContext();
  store->viewContext()->deleteObject(set);
  store->saveViewContext();
  EXPECT_THAT(store->allFanConditions().value(), IsEmpty());
}

}  // namespace
}  // namespace kelvora
