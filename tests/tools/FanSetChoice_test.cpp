#include "tools/kelvora/FanSetChoice.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/ManagerFixture.h"

namespace kelvora::tool {
namespace {

class FanSetChoiceTest : public testing::ManagerFixture {
 protected:
  FanSetChoiceTest() {
    sensor->setValue(75);
    quiet = addSet("Quiet");
    fast = addSet("Fast");
  }
  KVFanSetPtr addSet(const std::string& name) {
    KVFanSetPtr set = manager->coreDataStore().createFanSetWithName(name, {});
    set->setIdentifier(name);
    return set;
  }
  KVFanConditionPtr addCondition(const KVFanSetPtr& set, double threshold) {
    auto condition = manager->coreDataStore().createFanConditionWithFanSet(
        set, sensor, threshold, kAnyBatteryState, false, manager->coreDataStore().viewContext());
    condition->setCreated(ManagedDate(std::chrono::seconds(++created)));
    return condition;
  }

  FanSetChoice choice() { return chosenFanSet(manager->coreDataStore(), *manager, {}); }

  KVSensorPtr sensor = add("TC0P");
  KVFanSetPtr quiet;
  KVFanSetPtr fast;
  int created = 0;
};

TEST_F(FanSetChoiceTest, ChoosesNothingWithoutAManualSetAndConditions) {
  EXPECT_EQ(choice().fanSet, nullptr);
  EXPECT_EQ(choice().condition, nullptr);
}

TEST_F(FanSetChoiceTest, TheManualSetGoesBeforeEveryCondition) {
  const KVFanConditionPtr condition = addCondition(fast, 70);
  manager->setManualFanSetId("Quiet");
  EXPECT_EQ(choice().fanSet, quiet);
  EXPECT_EQ(choice().condition, nullptr);
  quiet->setIdentifier("");
  manager->setManualFanSetId("");
  EXPECT_EQ(choice().fanSet, fast);
  manager->setManualFanSetId("gone");
  EXPECT_EQ(choice().fanSet, fast);
  EXPECT_EQ(choice().condition, condition);
}

TEST_F(FanSetChoiceTest, TheOldestConditionThatHoldsChooses) {
  const KVFanConditionPtr hot = addCondition(fast, 80);
  const KVFanConditionPtr warm = addCondition(quiet, 60);
  addCondition(fast, 50);
  EXPECT_EQ(choice().condition, warm);
  sensor->setValue(80);
  EXPECT_EQ(choice().condition, hot);
  EXPECT_EQ(choice().fanSet, fast);
  hot->setActive(false);
  EXPECT_EQ(choice().condition, warm);
  sensor->setValue(40);
  EXPECT_EQ(choice().fanSet, nullptr);
}

TEST_F(FanSetChoiceTest, AConditionHoldsFromItsThresholdOnInTheRawUnit) {
  const KVFanConditionPtr condition = addCondition(fast, 75);
  manager->setTempUnitCelsius(false);
  EXPECT_TRUE(holds(*condition, {}));
  sensor->setValue(74.9);
  EXPECT_FALSE(holds(*condition, {}));
}

TEST_F(FanSetChoiceTest, TheBatteryStateIsTheRequiredOneOrNoneIsRequired) {
  const KVFanConditionPtr condition = addCondition(fast, 70);
  for (const BatteryState required : {kAnyBatteryState, kOnBattery, kOnPowerAdapter}) {
    for (const BatteryState state : {kAnyBatteryState, kOnBattery, kOnPowerAdapter}) {
      condition->setBatteryState(required);
      EXPECT_EQ(holds(*condition, {state, false}),
                required == kAnyBatteryState || required == state)
          << required << " " << state;
    }
  }
}

TEST_F(FanSetChoiceTest, AnExternalDisplayIsConnectedOrNotRequired) {
  const KVFanConditionPtr condition = addCondition(fast, 70);
  EXPECT_TRUE(holds(*condition, {kAnyBatteryState, false}));
  EXPECT_TRUE(holds(*condition, {kAnyBatteryState, true}));
  condition->setExternalDisplayConnected(true);
  EXPECT_FALSE(holds(*condition, {kAnyBatteryState, false}));
  EXPECT_TRUE(holds(*condition, {kAnyBatteryState, true}));
}

TEST_F(FanSetChoiceTest, AConditionWithoutAReadingSensorOrSetDoesNotHold) {
  const KVFanConditionPtr condition = addCondition(fast, -200);
  for (const double reading : {75.0, 0.0}) {
    sensor->setValue(reading);
    EXPECT_TRUE(holds(*condition, {}));
  }
  for (const double noReading : {-1.0, std::numeric_limits<double>::quiet_NaN()}) {
    sensor->setValue(noReading);
    EXPECT_FALSE(holds(*condition, {}));
  }
  sensor->setValue(75);
  condition->setFanSet(nullptr);
  EXPECT_FALSE(holds(*condition, {}));
  condition->setFanSet(fast);
  EXPECT_TRUE(holds(*condition, {}));
  manager->coreDataStore().viewContext()->deleteObject(sensor);
  EXPECT_FALSE(holds(*condition, {}));
}

}  // namespace
}  // namespace kelvora::tool
