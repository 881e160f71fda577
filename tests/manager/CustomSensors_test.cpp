#include <limits>

#include "tests/manager/CustomSensorsFixture.h"
#include "tests/support/RecordedNotices.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

}  // namespace
}  // namespace kelvora
