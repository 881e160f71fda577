#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manager/NotificationArchive.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/OverheatRuleList.h"

namespace kelvora {
namespace {

using testing::keysOf;
using testing::rule;
using Rules = std::vector<KVNotification>;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kKey[] = "KVOverheatNotificationsKey";

class OverheatRules : public testing::ManagerFixture {
 protected:
  OverheatRules() {
    add("TC0P");
    add("TG0P");
    manager->setAppLaunchCount(5);
  }
  void store(const Rules& rules) { suite->setObject(kKey, archiveOfNotifications(rules)); }
  // What is stored, rules of sensors that are gone included.
  std::optional<Rules> stored() {
    const auto archive = suite->object(kKey);
    return archive ? notificationsInArchive(*archive->as<PropertyListValue::Data>()) : std::nullopt;
  }
  // How many broadcasts of the list have come since the last call, and no others.
  std::size_t broadcasts() {
    const auto heard = notices.take();
    for (const auto& notice : heard) {
      EXPECT_EQ(notice.name, KVDataManagerOverheatListDidChangeNotification);
      EXPECT_EQ(notice.userInfo, std::nullopt);
    }
    return heard.size();
  }

  testing::RecordedNotices notices{*platform};
};

TEST_F(OverheatRules, TheDefaultIsOneRuleForTheMainSensor) {
  manager->coreDataStore().getSensorByKey("TC0P")->setName("CPU Proximity");
  const Rules rules = manager->defaultOverheatNotifications();
  ASSERT_EQ(rules.size(), 1U);
  EXPECT_EQ(rules[0].sensorKey, "TC0P");
  EXPECT_EQ(rules[0].sensorName, "CPU Proximity");
  EXPECT_EQ(rules[0].threshold, 70.0);
  EXPECT_EQ(rules[0].active, true);
  EXPECT_EQ(rules[0].repeat, 0);
  EXPECT_EQ(rules[0].lastTimeFired, std::nullopt);
  EXPECT_EQ(suite->object(kKey), std::nullopt);
}

TEST_F(OverheatRules, TheDefaultHasNoKeyAndNoNameWithoutAMainSensor) {
  suite->setObject("KVMainSensor", "gone");
  const Rules rules = manager->defaultOverheatNotifications();
  ASSERT_EQ(rules.size(), 1U);
  EXPECT_EQ(rules[0].sensorKey, std::nullopt);
  EXPECT_EQ(rules[0].sensorName, std::nullopt);
  EXPECT_EQ(rules[0].threshold, 70.0);
}

TEST_F(OverheatRules, ANewUserWithFahrenheitGetsARuleAt158) {
  manager->setTempUnitCelsius(false);
  manager->setAppLaunchCount(0);
  notices.take();
  const auto rules = manager->overheatNotifications();
  ASSERT_EQ(keysOf(rules), std::vector<std::string>{"TC0P"});
  EXPECT_EQ(rules->front().threshold, 158.0);
  EXPECT_EQ(rules->front().active, true);
  EXPECT_EQ(rules->front().repeat, 0);
  EXPECT_EQ(broadcasts(), 1U);
  ASSERT_EQ(keysOf(stored()), std::vector<std::string>{"TC0P"});
  EXPECT_EQ(stored()->front().threshold, 158.0);
}

TEST_F(OverheatRules, AStoredThresholdIsNotConvertedLater) {
  store({rule("TC0P", 70)});
  manager->setTempUnitCelsius(false);
  EXPECT_EQ(manager->overheatNotifications()->front().threshold, 70.0);
}

TEST_F(OverheatRules, TheFirstTwoLaunchesStoreTheDefaultOnce) {
  manager->setAppLaunchCount(1);
  EXPECT_THAT(keysOf(manager->overheatNotifications()), ElementsAre("TC0P"));
  EXPECT_THAT(keysOf(manager->overheatNotifications()), ElementsAre("TC0P"));
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, WithoutAListLaterLaunchesHaveNoneAndStoreNothing) {
  for (const int launches : {2, 5}) {
    manager->setAppLaunchCount(launches);
    EXPECT_EQ(manager->overheatNotifications(), std::nullopt);
    EXPECT_EQ(manager->getOverheatNotificationBySensorKey("TC0P"), std::nullopt);
    EXPECT_EQ(suite->object(kKey), std::nullopt);
    EXPECT_EQ(broadcasts(), 0U);
  }
}

TEST_F(OverheatRules, AStoredEmptyListStaysEmpty) {
  manager->setAppLaunchCount(0);
  EXPECT_TRUE(manager->setOverheatNotifications({}));
  EXPECT_THAT(manager->overheatNotifications().value(), IsEmpty());
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, RulesOfSensorsThatAreGoneAreLeftOutButStayStored) {
  store({rule("TC0P"), rule("gone"), KVNotification(), rule("any-sensor")});
  EXPECT_THAT(keysOf(manager->overheatNotifications()), ElementsAre("TC0P", "any-sensor"));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P", "gone", "none", "any-sensor"));
  EXPECT_EQ(broadcasts(), 0U);
  add("gone");
  EXPECT_THAT(keysOf(manager->overheatNotifications()), ElementsAre("TC0P", "gone", "any-sensor"));
}

TEST_F(OverheatRules, TheStoredListIsReadWithoutStoringAnything) {
  manager->setAppLaunchCount(0);
  EXPECT_EQ(storedOverheatNotifications(*manager), std::nullopt);
  EXPECT_EQ(suite->object(kKey), std::nullopt);
  suite->setObject(kKey, "text");
  EXPECT_EQ(storedOverheatNotifications(*manager), std::nullopt);
  suite->setObject(kKey, PropertyListValue::Data{std::byte{1}});
  EXPECT_THAT(storedOverheatNotifications(*manager).value(), IsEmpty());
  store({rule("TC0P"), rule("gone")});
  EXPECT_THAT(keysOf(storedOverheatNotifications(*manager)), ElementsAre("TC0P", "gone"));
  EXPECT_EQ(broadcasts(), 0U);
}

TEST_F(OverheatRules, OneIsFoundByItsKey) {
  store({rule("TG0P", 60), rule("TC0P", 70), rule("TC0P", 80), rule("gone")});
  EXPECT_EQ(manager->getOverheatNotificationBySensorKey("TC0P")->threshold, 70.0);
  EXPECT_EQ(manager->getOverheatNotificationBySensorKey("gone"), std::nullopt);
  EXPECT_EQ(manager->getOverheatNotificationBySensorKey("any-sensor"), std::nullopt);
}

TEST_F(OverheatRules, TheWholeListIsStoredAndAnnounced) {
  EXPECT_TRUE(manager->setOverheatNotifications({rule("TG0P"), rule("gone"), rule("TC0P")}));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TG0P", "gone", "TC0P"));
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, AnUpdateReplacesTheRuleAtItsPlace) {
  store({rule("TC0P"), rule("TG0P", 60), rule("any-sensor")});
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TG0P", 65)));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P", "TG0P", "any-sensor"));
  EXPECT_EQ(stored()->at(1).threshold, 65.0);
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, AnUpdateReplacesTheFirstOfTwoRulesForOneKey) {
  store({rule("TC0P", 1), rule("TC0P", 2)});
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TC0P", 3)));
  EXPECT_EQ(stored()->at(0).threshold, 3.0);
  EXPECT_EQ(stored()->at(1).threshold, 2.0);
}

TEST_F(OverheatRules, AnUpdateWithoutAMatchStillStoresAndAnnouncesTheList) {
  store({rule("TC0P"), rule("gone")});
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TG0P")));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P"));
  EXPECT_EQ(broadcasts(), 1U);
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TG0P")));
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, AnUpdateWithoutAListStoresAnEmptyOne) {
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TC0P")));
  EXPECT_THAT(stored().value(), IsEmpty());
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, AnUpdateOfANewUsersListFindsTheDefaultRule) {
  manager->setAppLaunchCount(0);
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TC0P", 90)));
  ASSERT_THAT(keysOf(stored()), ElementsAre("TC0P"));
  EXPECT_EQ(stored()->front().threshold, 90.0);
}

TEST_F(OverheatRules, AddedRulesComeLastAndEachKeyOnce) {
  store({rule("TC0P", 70), rule("gone")});
  EXPECT_TRUE(manager->addOverheatNotification(rule("any-sensor")));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P", "any-sensor"));
  EXPECT_EQ(broadcasts(), 1U);
  EXPECT_FALSE(manager->addOverheatNotification(rule("TC0P", 80)));
  EXPECT_EQ(stored()->front().threshold, 70.0);
  EXPECT_EQ(broadcasts(), 0U);
}

TEST_F(OverheatRules, ARuleIsRemovedByItsKey) {
  store({rule("TC0P"), rule("TG0P"), rule("gone")});
  EXPECT_FALSE(manager->removeOverheatNotification("any-sensor"));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P", "TG0P", "gone"));
  EXPECT_EQ(broadcasts(), 0U);
  EXPECT_TRUE(manager->removeOverheatNotification("TC0P"));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TG0P"));
  EXPECT_EQ(broadcasts(), 1U);
}

TEST_F(OverheatRules, OneIsChangedAsItIsStoredNow) {
  store({rule("TC0P", 70), rule("TG0P", 60)});
  manager->coreDataStore().saveViewContext();
  KVDataManager other(*platform);
  ASSERT_TRUE(other.updateOverheatNotification(rule("TG0P", 65)));
  EXPECT_TRUE(manager->changeOverheatNotification(
      "TG0P", [](KVNotification& stored) { stored.active = false; }));
  EXPECT_EQ(stored()->at(1).threshold, 65.0);
  EXPECT_EQ(stored()->at(1).active, false);
  EXPECT_EQ(broadcasts(), 2U);
  EXPECT_FALSE(manager->changeOverheatNotification("gone", [](KVNotification&) { FAIL(); }));
  EXPECT_EQ(broadcasts(), 0U);
}

TEST_F(OverheatRules, ADamagedListIsEmptyAndStaysAsItIs) {
  manager->setAppLaunchCount(0);
  const PropertyListValue damaged = PropertyListValue::Data{std::byte{1}, std::byte{2}};
  suite->setObject(kKey, damaged);
  EXPECT_THAT(manager->overheatNotifications().value(), IsEmpty());
  EXPECT_EQ(manager->getOverheatNotificationBySensorKey("TC0P"), std::nullopt);
  EXPECT_EQ(suite->object(kKey), damaged);
  EXPECT_EQ(broadcasts(), 0U);
}

TEST_F(OverheatRules, ThousandsAreReadBack) {
  std::vector<KVNotification> many;
  for (int number = 0; number < 4'000; ++number) {
    KVNotification one = testing::activeRule("T" + std::to_string(number), number, 1);
    one.sensorName = "CPU";
    one.lastTimeFired = std::chrono::system_clock::now();
    many.push_back(one);
  }
  EXPECT_TRUE(manager->setOverheatNotifications(many));
  EXPECT_EQ(stored(), many);
}

// A text that several rules share takes its bytes once in the archive, and in memory each time.
TEST_F(OverheatRules, AListThatCouldNotBeReadBackIsNotStored) {
  KVNotification large = rule("any-sensor");
  large.sensorName = std::string(100'000, 'x');
  Rules rules(20, large);
  rules.front() = rule("TC0P");
  while (notificationsInArchive(archiveOfNotifications(rules))) {
    rules.push_back(large);
  }
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(manager->setOverheatNotifications(rules));
  EXPECT_EQ(suite->object(kKey), std::nullopt);
  rules.pop_back();
  store(rules);
  EXPECT_FALSE(manager->changeOverheatNotification(
      "TC0P", [&](KVNotification& stored) { stored.sensorName = large.sensorName; }));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Overheat rules: the list is too large to be stored\n"
            "Overheat rules: the list is too large to be stored\n");
  EXPECT_EQ(stored()->size(), rules.size());
  EXPECT_EQ(stored()->front().sensorName, std::nullopt);
  EXPECT_EQ(broadcasts(), 0U);
}

TEST_F(OverheatRules, AnUpdateReplacesADamagedList) {
  suite->setObject(kKey, PropertyListValue::Data{std::byte{1}});
  EXPECT_TRUE(manager->updateOverheatNotification(rule("TC0P")));
  EXPECT_THAT(stored().value(), IsEmpty());
}

TEST_F(OverheatRules, AValueThatIsNotDataCountsAsAbsentAndStaysAsItIs) {
  suite->setObject(kKey, "text");
  EXPECT_EQ(manager->overheatNotifications(), std::nullopt);
  manager->setAppLaunchCount(0);
  EXPECT_THAT(keysOf(manager->overheatNotifications()), ElementsAre("TC0P"));
  EXPECT_EQ(suite->object(kKey), PropertyListValue("text"));
  EXPECT_EQ(broadcasts(), 0U);
}

TEST_F(OverheatRules, AnUpdateWhileTheStoreCannotBeReadDropsNoRule) {
  store({rule("TC0P", 70), rule("TG0P", 60)});
  const testing::TemporaryFolder other;
  ::setenv("XDG_DATA_HOME", other.path().c_str(), 1);
  other.write(std::string(kApplicationGroupIdentifier) + "/Database.sqlite", "no database");
  KVDataManager blind(*platform);
  EXPECT_THAT(blind.overheatNotifications().value(), IsEmpty());
  EXPECT_TRUE(blind.updateOverheatNotification(rule("TG0P", 65)));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P", "TG0P"));
  EXPECT_EQ(stored()->at(1).threshold, 65.0);
}

TEST_F(OverheatRules, AManagerWithoutAModelDropsNoRule) {
  store({rule("TC0P", 70)});
  testing::wrapPort<testing::ForwardingMainBundle>(platform->ports().mainBundle).onResourcePath =
      [](auto, auto) { return std::nullopt; };
  KVDataManager blind(*platform);
  EXPECT_TRUE(blind.updateOverheatNotification(rule("TG0P", 65)));
  EXPECT_THAT(keysOf(stored()), ElementsAre("TC0P"));
}

}  // namespace
}  // namespace kelvora
