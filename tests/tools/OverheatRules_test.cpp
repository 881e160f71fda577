// Overheat rules over simulated time.
#include "tools/kelvora/OverheatRules.h"

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/OverheatRuleList.h"
#include "tests/support/ResourceLimit.h"

namespace kelvora::tool {
namespace {

using kelvora::testing::activeRule;
using std::chrono::seconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr OverheatRules::Instant kStart{seconds(1'700'000'000)};

class OverheatRulesTest : public testing::ManagerFixture {
 protected:
  OverheatRulesTest() {
    manager->setAppLaunchCount(5);
    set("TC0P", 50);
  }
  KVSensorPtr set(const std::string& key, double value) {
    KVSensorPtr sensor = manager->coreDataStore().getSensorByKey(key);
    if (sensor == nullptr) {
      sensor = add(key);
      sensor->setName("Name of " + key);
    }
    sensor->setValue(value);
    return sensor;
  }
  void store(const std::vector<KVNotification>& list) { manager->setOverheatNotifications(list); }
  // Keys of the rules that fire so many seconds after the start.
  std::vector<std::string> fireAt(int second) { return fireAt(second, rules); }
  std::vector<std::string> fireAt(int second, OverheatRules& evaluation) {
    std::vector<std::string> keys;
    for (const FiredRule& fired : evaluation.fire(*manager, kStart + seconds(second), readings())) {
      keys.push_back(fired.rule.sensorKey.value());
    }
    return keys;
  }
  std::vector<FiredRule> fire(OverheatRules::Instant now = kStart) {
    return rules.fire(*manager, now, readings());
  }
  // Every stored sensor is read, but for these.
  std::set<std::string> unread;
  std::optional<KVNotification::Date> lastTimeFired(const std::string& key = "TC0P") {
    return manager->getOverheatNotificationBySensorKey(key)->lastTimeFired;
  }

  OverheatRules rules;

 private:
  SensorList readings() {
    SensorList list;
    const auto sensors = manager->coreDataStore().allSensors();
    for (const KVSensorPtr& sensor : sensors.value()) {
      if (!unread.contains(sensor->key())) {
        list.push_back(Sensor::instanceWithKey(
            sensor->key(), sensor->name(), sensor->fullName(), sensor->value(), 0, 110,
            sensor->categoryType(), SensorGroupNone, SensorPlatformEvery,
            static_cast<std::uint64_t>(sensor->sourceType()), false));
      }
    }
    return list;
  }
};

TEST_F(OverheatRulesTest, ASensorThatCannotBeReadNeitherFiresNorCools) {
  store({activeRule("TC0P", 70)});
  set("TC0P", 80);
  unread = {"TC0P"};
  EXPECT_THAT(fireAt(0), IsEmpty());
  unread = {};
  EXPECT_THAT(fireAt(2), ElementsAre("TC0P"));
  set("TC0P", 50);
  unread = {"TC0P"};
  fireAt(4);
  set("TC0P", 80);
  unread = {};
  EXPECT_THAT(fireAt(6), IsEmpty());
}

TEST_F(OverheatRulesTest, AnySensorIsTheHottestOfThoseThatWereRead) {
  set("TG0P", 99);
  store({activeRule("any-sensor", 80)});
  unread = {"TG0P"};
  EXPECT_THAT(fireAt(0), IsEmpty());
  unread = {};
  EXPECT_THAT(fireAt(2), ElementsAre("any-sensor"));
}

TEST_F(OverheatRulesTest, ARuleFiresFromItsLimitOn) {
  store({activeRule("TC0P", 70)});
  set("TC0P", 69.9);
  EXPECT_THAT(fireAt(0), IsEmpty());
  EXPECT_EQ(lastTimeFired(), std::nullopt);
  set("TC0P", 70);
  const auto fired = fire(kStart + seconds(2));
  ASSERT_EQ(fired.size(), 1U);
  EXPECT_EQ(fired[0].rule.sensorKey, "TC0P");
  EXPECT_EQ(fired[0].sensorKey, "TC0P");
  EXPECT_EQ(fired[0].sensorName, "Name of TC0P");
  EXPECT_EQ(fired[0].value, 70);
  EXPECT_EQ(lastTimeFired(), kStart + seconds(2));
}

TEST_F(OverheatRulesTest, WithoutRepetitionItFiresOnceUntilTheValueHasBeenBelowTheLimit) {
  store({activeRule("TC0P", 70)});
  set("TC0P", 80);
  EXPECT_THAT(fireAt(0), ElementsAre("TC0P"));
  for (const int second : {2, 400, 90'000}) {
    EXPECT_THAT(fireAt(second), IsEmpty()) << second;
  }
  EXPECT_EQ(lastTimeFired(), kStart);
  set("TC0P", 69);
  EXPECT_THAT(fireAt(90'002), IsEmpty());
  EXPECT_EQ(lastTimeFired(), std::nullopt);
  set("TC0P", 75);
  EXPECT_THAT(fireAt(90'004), ElementsAre("TC0P"));
  EXPECT_THAT(fireAt(90'006), IsEmpty());
}

TEST_F(OverheatRulesTest, WhatFiredStaysSilentInAnotherLaunchAndAnotherProgram) {
  store({activeRule("TC0P", 70), activeRule("any-sensor", 70, 3)});
  set("TC0P", 80);
  EXPECT_EQ(fireAt(0).size(), 2U);
  OverheatRules later;
  EXPECT_THAT(fireAt(2, later), IsEmpty());
  EXPECT_THAT(fireAt(60, later), ElementsAre("any-sensor"));
  EXPECT_THAT(fireAt(62), IsEmpty());
}

TEST_F(OverheatRulesTest, ARepetitionKeepsItsDelayWhateverTheValueDid) {
  const std::vector<std::pair<int, int>> delays = {{1, 10}, {2, 30}, {3, 60}, {4, 120}, {5, 300}};
  for (const auto& [repeat, delay] : delays) {
    store({activeRule("TC0P", 70, repeat)});
    set("TC0P", 80);
    EXPECT_THAT(fireAt(0), ElementsAre("TC0P")) << repeat;
    EXPECT_THAT(fireAt(delay - 1), IsEmpty()) << repeat;
    EXPECT_THAT(fireAt(delay), ElementsAre("TC0P")) << repeat;
    set("TC0P", 60);
    EXPECT_THAT(fireAt(delay + 2), IsEmpty()) << repeat;
    EXPECT_EQ(lastTimeFired(), kStart + seconds(delay)) << repeat;
    set("TC0P", 80);
    EXPECT_THAT(fireAt(delay + 4), IsEmpty()) << repeat;
    EXPECT_THAT(fireAt(2 * delay), ElementsAre("TC0P")) << repeat;
  }
}

TEST_F(OverheatRulesTest, AnHourOfHeatFiresARuleOfAMinuteSixtyTimes) {
  store({activeRule("TC0P", 70, 3)});
  set("TC0P", 80);
  std::size_t count = 0;
  for (int second = 0; second < 3600; second += 2) {
    count += fireAt(second).size();
  }
  EXPECT_EQ(count, 60U);
}

TEST_F(OverheatRulesTest, ATimeInTheFutureIsNotAQuietPeriod) {
  KVNotification future = activeRule("TC0P", 70, 5);
  future.lastTimeFired = kStart + std::chrono::hours(24);
  store({future});
  set("TC0P", 80);
  EXPECT_THAT(fireAt(0), ElementsAre("TC0P"));
  EXPECT_EQ(lastTimeFired(), kStart);
}

TEST_F(OverheatRulesTest, OnlyAnActiveRuleWithALimitFires) {
  std::vector<KVNotification> list(3, activeRule("TC0P", 10));
  list[0].active = false;
  list[1].active.reset();
  list[2].threshold.reset();
  set("TC0P", 80);
  for (const KVNotification& one : list) {
    store({one});
    EXPECT_THAT(fireAt(0), IsEmpty());
  }
}

TEST_F(OverheatRulesTest, ARuleThatIsNotActiveKeepsItsTimeBelowItsLimit) {
  KVNotification inactive = activeRule("TC0P", 70);
  inactive.lastTimeFired = kStart;
  for (const std::optional<bool> active : {std::optional<bool>(), std::optional(false)}) {
    inactive.active = active;
    store({inactive});
    fireAt(2);
    EXPECT_EQ(lastTimeFired(), kStart);
  }
}

TEST_F(OverheatRulesTest, ZeroIsAReading) {
  set("TC0P", 0);
  store({activeRule("TC0P", 0)});
  EXPECT_THAT(fireAt(0), ElementsAre("TC0P"));
}

TEST_F(OverheatRulesTest, WithoutAListNothingFiresAndNothingIsStored) {
  set("TC0P", 200);
  EXPECT_THAT(fireAt(0), IsEmpty());
  EXPECT_EQ(manager->overheatNotifications(), std::nullopt);
}

TEST_F(OverheatRulesTest, TheLimitIsNotConvertedAndTheValueIs) {
  store({activeRule("TC0P", 150)});
  set("TC0P", 70);
  EXPECT_THAT(fireAt(0), IsEmpty());
  manager->setTempUnitCelsius(false);
  const auto fired = fire();
  ASSERT_EQ(fired.size(), 1U);
  EXPECT_EQ(fired[0].value, 158);
}

TEST_F(OverheatRulesTest, AFanIsComparedInRevolutionsInEveryUnit) {
  add("Fan 0", "Fan", 1)->setValue(1500);
  manager->setTempUnitCelsius(false);
  manager->setFanValueType(1);
  store({activeRule("Fan 0", 1500)});
  const auto fired = fire();
  ASSERT_EQ(fired.size(), 1U);
  EXPECT_EQ(fired[0].value, 1500);
}

TEST_F(OverheatRulesTest, AnySensorIsTheHottestDiscoveredTemperature) {
  set("TG0P", 81);
  set("TB0T", 79);
  set("HottestCPU", 99)->setSourceType(2);
  add("Fan 0", "Fan", 1)->setValue(1500);
  store({activeRule("any-sensor", 80)});
  const auto fired = fire();
  ASSERT_EQ(fired.size(), 1U);
  EXPECT_EQ(fired[0].rule.sensorKey, "any-sensor");
  EXPECT_EQ(fired[0].sensorKey, "TG0P");
  EXPECT_EQ(fired[0].sensorName, "Name of TG0P");
  EXPECT_EQ(fired[0].value, 81);
  set("TG0P", 70);
  EXPECT_THAT(fireAt(2), IsEmpty());
  EXPECT_EQ(lastTimeFired("any-sensor"), std::nullopt);
}

TEST_F(OverheatRulesTest, AnySensorWithoutTemperaturesIsSilent) {
  manager->coreDataStore().viewContext()->deleteObject(set("TC0P", 50));
  store({activeRule("any-sensor", 0)});
  EXPECT_THAT(fireAt(0), IsEmpty());
  set("TC0P", -127);
  EXPECT_THAT(fireAt(2), IsEmpty());
}

TEST_F(OverheatRulesTest, ANegativeValueNeitherFiresNorArms) {
  store({activeRule("TC0P", -200)});
  for (const double noReading : {-1.0, -128.0, std::nan("")}) {
    set("TC0P", noReading);
    EXPECT_THAT(fireAt(0), IsEmpty());
  }
  store({activeRule("TC0P", 70)});
  set("TC0P", 80);
  EXPECT_THAT(fireAt(2), ElementsAre("TC0P"));
  set("TC0P", -1);
  EXPECT_THAT(fireAt(4), IsEmpty());
  set("TC0P", 80);
  EXPECT_THAT(fireAt(6), IsEmpty());
}

TEST_F(OverheatRulesTest, RulesFireInTheOrderOfTheList) {
  set("TG0P", 80);
  set("TC0P", 80);
  store({activeRule("TG0P", 70), activeRule("any-sensor", 70), activeRule("TC0P", 90),
         activeRule("gone", 1), activeRule("TC0P", 70)});
  EXPECT_THAT(fireAt(0), ElementsAre("TG0P", "any-sensor"));
  store({activeRule("TC0P", 70), activeRule("TG0P", 70)});
  EXPECT_THAT(fireAt(2), ElementsAre("TC0P", "TG0P"));
}

TEST_F(OverheatRulesTest, ARuleWithoutAReadingKeepsNoOtherFromFiring) {
  KVNotification off = activeRule("TG0P", 1);
  off.active = false;
  set("TG0P", 80);
  set("TC0P", 80);
  store({off, activeRule("gone", 1), activeRule("TC0P", 70)});
  EXPECT_THAT(fireAt(0), ElementsAre("TC0P"));
}

TEST_F(OverheatRulesTest, FiringKeepsWhatTheUserChangesMeanwhile) {
  store({activeRule("TC0P", 70, 1)});
  set("TC0P", 80);
  fireAt(0);
  const KVNotification stored = *manager->getOverheatNotificationBySensorKey("TC0P");
  EXPECT_EQ(stored.threshold, 70);
  EXPECT_EQ(stored.repeat, 1);
  EXPECT_EQ(stored.active, true);
}

TEST_F(OverheatRulesTest, AListThatCannotBeStoredSilencesNoAlertAndRepeatsNone) {
  platform->ports().userDefaults = std::make_unique<platform::LinuxUserDefaults>(home + "/config");
  manager->coreDataStore().saveViewContext();
  manager = std::make_unique<KVDataManager>(*platform);
  ASSERT_TRUE(
      manager->setOverheatNotifications({activeRule("TC0P", 70), activeRule("any-sensor", 70, 1)}));
  OverheatRules evaluation;
  set("TC0P", 80);
  ::testing::internal::CaptureStderr();
  {
    const testing::ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_THAT(fireAt(0, evaluation), ElementsAre("TC0P", "any-sensor"));
    EXPECT_THAT(fireAt(2, evaluation), IsEmpty());
    EXPECT_THAT(fireAt(10, evaluation), ElementsAre("any-sensor"));
    set("TC0P", 60);
    EXPECT_THAT(fireAt(12, evaluation), IsEmpty());
    set("TC0P", 80);
    EXPECT_THAT(fireAt(14, evaluation), ElementsAre("TC0P"));
  }
  ::testing::internal::GetCapturedStderr();
  EXPECT_THAT(fireAt(20, evaluation), ElementsAre("any-sensor"));
  EXPECT_EQ(lastTimeFired("any-sensor"), kStart + seconds(20));
  EXPECT_EQ(lastTimeFired(), std::nullopt);
  set("TC0P", 60);
  fireAt(22, evaluation);
  set("TC0P", 80);
  EXPECT_THAT(fireAt(24, evaluation), ElementsAre("TC0P"));
  EXPECT_EQ(lastTimeFired(), kStart + seconds(24));
}

TEST_F(OverheatRulesTest, ARuleThatStaysSilentStoresAndBroadcastsNothing) {
  store({activeRule("TC0P", 70), activeRule("any-sensor", 60, 5)});
  set("TC0P", 65);
  testing::RecordedNotices notices(*platform);
  notices.take();
  EXPECT_THAT(fireAt(0), ElementsAre("any-sensor"));
  EXPECT_EQ(notices.take().size(), 1U);
  for (int second = 2; second < 300; second += 2) {
    EXPECT_THAT(fireAt(second), IsEmpty());
  }
  EXPECT_TRUE(notices.take().empty());
}

}  // namespace
}  // namespace kelvora::tool
