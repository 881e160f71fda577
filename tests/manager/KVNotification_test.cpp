#include "KelvoraCore/KVNotification.h"

#include <limits>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "base/KeyedArchive.h"
#include "manager/NotificationArchive.h"
#include "tests/support/ArchiveText.h"
#include "tests/support/ManagerFixture.h"
#include "tests/support/OverheatRuleList.h"

namespace kelvora {
namespace {

using testing::archiveOfObjects;
using testing::rule;
using Rules = std::vector<KVNotification>;

TEST(KVNotification, RepeatsByItsSelector) {
  struct Row {
    std::optional<std::int64_t> repeat;
    std::uint64_t mode;
    std::uint64_t seconds;
  };
  const std::vector<Row> rows = {{std::nullopt, 0, 0},
                                 {0, 0, 0},
                                 {1, 1, 10},
                                 {2, 2, 30},
                                 {3, 3, 60},
                                 {4, 4, 120},
                                 {5, 5, 300},
                                 {6, 0, 0},
                                 {9, 0, 0},
                                 {-1, 0, 0},
                                 {std::numeric_limits<std::int64_t>::min(), 0, 0}};
  for (const Row& row : rows) {
    KVNotification rule;
    rule.repeat = row.repeat;
    EXPECT_EQ(rule.repeatMode(), row.mode) << row.repeat.value_or(0);
    EXPECT_EQ(rule.repeatDelays(), row.seconds) << row.repeat.value_or(0);
  }
}

TEST(KVNotification, EqualityAndHashFollowTheKeyAlone) {
  EXPECT_EQ(rule("TC0P", 70), rule("TC0P", 80));
  EXPECT_NE(rule("TC0P"), rule("TG0P"));
  EXPECT_NE(rule("TC0P"), KVNotification());
  EXPECT_EQ(KVNotification(), KVNotification());
  const std::hash<KVNotification> hash;
  EXPECT_EQ(hash(rule("TC0P", 70)), hash(rule("TC0P", 80)));
  EXPECT_NE(hash(rule("TC0P")), hash(rule("TG0P")));
  const std::unordered_set<KVNotification> rules = {rule("TC0P", 70), rule("TC0P", 80),
                                                    rule("TG0P")};
  EXPECT_EQ(rules.size(), 2U);
}

TEST(KVNotification, ACopyIsIndependent) {
  const KVNotification original = rule("TC0P", 70);
  KVNotification copy = original;
  copy.sensorKey = "TG0P";
  copy.threshold = 80;
  EXPECT_EQ(original.sensorKey, "TC0P");
  EXPECT_EQ(original.threshold, 70);
}

using NotificationSensor = testing::ManagerFixture;

TEST_F(NotificationSensor, IsLookedUpOnEveryCall) {
  EXPECT_EQ(rule("TC0P").sensor(*manager), nullptr);
  const KVSensorPtr sensor = add("TC0P");
  EXPECT_EQ(rule("TC0P").sensor(*manager), sensor);
  manager->coreDataStore().viewContext()->deleteObject(sensor);
  EXPECT_EQ(rule("TC0P").sensor(*manager), nullptr);
  EXPECT_EQ(KVNotification().sensor(*manager), nullptr);
}

// The fields of the only rule in an archive of a list with this object.
std::optional<KVNotification> ruleWithFields(const std::string& fields) {
  const auto rules = notificationsInArchive(
      archiveOfObjects("<dict><key>NS.objects</key><array>@2@</array><key>$class</key>@3@</dict>"
                       "<dict><key>$class</key>@4@" +
                       fields +
                       "</dict>"
                       "<dict><key>$classname</key><string>NSArray</string></dict>"
                       "<dict><key>$classname</key><string>KVNotification</string></dict>"));
  return rules && rules->size() == 1 ? std::optional(rules->front()) : std::nullopt;
}

void expectSame(const KVNotification& one, const KVNotification& other) {
  EXPECT_EQ(one.sensorKey, other.sensorKey);
  EXPECT_EQ(one.sensorName, other.sensorName);
  EXPECT_EQ(one.threshold, other.threshold);
  EXPECT_EQ(one.active, other.active);
  EXPECT_EQ(one.repeat, other.repeat);
  EXPECT_EQ(one.lastTimeFired, other.lastTimeFired);
}

TEST(NotificationArchive, EveryFieldComesBack) {
  KVNotification full;
  full.sensorKey = "TC0P";
  full.sensorName = "CPU Proximity";
  full.threshold = 70.5;
  full.active = false;
  full.repeat = -3;
  full.lastTimeFired =
      KVNotification::Date(std::chrono::seconds(1'700'000'000) + std::chrono::microseconds(3));
  const auto read = notificationsInArchive(archiveOfNotifications({full, KVNotification()}));
  ASSERT_TRUE(read && read->size() == 2);
  expectSame(read->at(0), full);
  expectSame(read->at(1), KVNotification());
  EXPECT_TRUE(notificationsInArchive(archiveOfNotifications({}))->empty());
}

TEST(NotificationArchive, FieldsHaveTheirNamesInTheirOrderAndNoneIsLeftOut) {
  KVNotification full;
  full.sensorKey = full.sensorName = "a";
  full.threshold = 1;
  full.active = true;
  full.repeat = 1;
  full.lastTimeFired = KVNotification::Date();
  const auto root =
      readKeyedArchive(archiveOfNotifications({full, rule("b")}),
                       {"NSArray", "KVNotification", "NSNumber", "NSString", "NSDate"});
  ASSERT_TRUE(root.has_value());
  const auto& list = *root->as<ArchiveValue::Array>();
  EXPECT_EQ(list.at(0).as<ArchiveValue::Object>()->className, "KVNotification");
  EXPECT_EQ(list.at(0).as<ArchiveValue::Object>()->names,
            (std::vector<std::string>{"sensorKey", "sensorName", "threshold", "active", "repeat",
                                      "lastTimeFired"}));
  EXPECT_EQ(list.at(1).as<ArchiveValue::Object>()->names,
            (std::vector<std::string>{"sensorKey", "threshold"}));
}

TEST(NotificationArchive, NumbersOfEveryKindAreAccepted) {
  const auto read = ruleWithFields(
      "<key>threshold</key><integer>70</integer><key>active</key><integer>1</integer>"
      "<key>repeat</key><real>3.9</real>");
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->threshold, 70.0);
  EXPECT_EQ(read->active, true);
  EXPECT_EQ(read->repeat, 3);
  EXPECT_EQ(ruleWithFields("<key>threshold</key><true/>")->threshold, 1.0);
  EXPECT_EQ(ruleWithFields("<key>active</key><real>0</real>")->active, false);
}

TEST(NotificationArchive, AFieldOfTheWrongTypeHasNoValueAndTheOthersStay) {
  const std::string text = "<string>a</string>";
  const auto read = ruleWithFields("<key>sensorKey</key><integer>1</integer><key>sensorName</key>" +
                                   text + "<key>threshold</key>" + text + "<key>active</key>" +
                                   text + "<key>repeat</key>" + text + "<key>lastTimeFired</key>" +
                                   text + "<key>another</key>" + text);
  ASSERT_TRUE(read.has_value());
  KVNotification expected;
  expected.sensorName = "a";
  expectSame(*read, expected);
}

TEST(NotificationArchive, ANullFieldHasNoValue) {
  const auto read = ruleWithFields("<key>sensorKey</key>@0@<key>lastTimeFired</key>@0@");
  ASSERT_TRUE(read.has_value());
  expectSame(*read, KVNotification());
}

TEST(NotificationArchive, OnlyArraysRulesNumbersTextsAndDatesAreAllowed) {
  EXPECT_FALSE(ruleWithFields("<key>sensorKey</key><data>AAE=</data>"));
  const auto archive = [](const ArchiveValue& item) {
    return notificationsInArchive(keyedArchive(ArchiveValue::Array{item}));
  };
  EXPECT_TRUE(archive(ArchiveValue::Object("KVNotification")));
  EXPECT_FALSE(archive(ArchiveValue::Object("CPUTopProcess")));
  EXPECT_FALSE(
      archive(ArchiveValue::Object("KVNotification", {{"a", ArchiveValue::Dictionary()}})));
}

TEST(NotificationArchive, AListOfAnythingElseIsNotAListOfRules) {
  EXPECT_FALSE(notificationsInArchive(keyedArchive(ArchiveValue::Array{"TC0P"})));
  EXPECT_FALSE(notificationsInArchive(keyedArchive(ArchiveValue::Array{ArchiveValue()})));
  EXPECT_FALSE(notificationsInArchive(keyedArchive(ArchiveValue::Object("KVNotification"))));
  EXPECT_FALSE(notificationsInArchive({std::byte{1}}));
  EXPECT_FALSE(notificationsInArchive({}));
}

}  // namespace
}  // namespace kelvora
