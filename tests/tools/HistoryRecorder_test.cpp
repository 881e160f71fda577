#include "tools/kelvora/HistoryRecorder.h"

#include <chrono>
#include <cmath>
#include <map>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/engine/StatementHook.h"
#include "tests/support/ChildWork.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/ResourceLimit.h"
#include "tests/tools/Recorder.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST_F(Recorder, MakesTheFiveCategoriesAndPutsEachSensorIntoItsOwn) {
  sampleAt(kBegin);
  const auto store = otherProgram();
  const auto categories = store->allCategories();
  ASSERT_TRUE(categories);
  ASSERT_THAT(*categories, SizeIs(5));
  const std::vector<std::string> names = {"Temperature", "Fan", "Voltage", "Current", "Power"};
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ((*categories)[i]->name(), names[i]);
    EXPECT_EQ((*categories)[i]->type(), static_cast<int>(i));
  }
  EXPECT_EQ(store->getSensorByKey("TC0P")->category()->type(), SensorTypeTemperature);
  EXPECT_EQ(store->getSensorByKey("0")->category()->type(), SensorTypeFan);
  EXPECT_EQ(store->getSensorByKey("VC0C")->category()->type(), SensorTypeVoltage);
  EXPECT_EQ(store->getSensorByKey("IC0C")->category()->type(), SensorTypeCurrent);
  EXPECT_EQ(store->getSensorByKey("PC0C")->category()->type(), SensorTypePower);
}

// As programs leave it that make their first sensor at the same time.
TEST_F(Recorder, JoinsACategoryThatIsThereTwice) {
  const auto store = otherProgram();
  const auto context = store->viewContext();
  store->createOrUpdateCategoryWithName("Temperature", context)->setType(0);
  ASSERT_EQ(context->save(), std::nullopt);
  const auto twin = store->createOrUpdateCategoryWithName("Twin", context);
  twin->setName("Temperature");
  const auto sensor = store->createSensorWithKey("TCXX", context);
  sensor->setCategory(twin);
  sensor->setIsCustom(true);
  ASSERT_EQ(context->save(), std::nullopt);
  sampleAt(kBegin);
  const auto later = otherProgram();
  EXPECT_THAT(*later->allCategories(), SizeIs(5));
  EXPECT_EQ(later->getSensorByKey("TCXX")->category()->objectID(),
            later->getSensorByKey("TC0P")->category()->objectID());
}

TEST_F(Recorder, ASensorThatIsAddedToATwinMeanwhileKeepsACategory) {
  for (int i = 0; i < 4; ++i) {
    const std::string key = "TC_" + std::to_string(i);
    const auto store = otherProgram();
    const auto context = store->viewContext();
    const auto first = store->createOrUpdateCategoryWithName("Temperature", context);
    first->setName("First");
    ASSERT_EQ(context->save(), std::nullopt);
    const auto twin = store->createOrUpdateCategoryWithName("Temperature", context);
    first->setName("Temperature");
    ASSERT_EQ(context->save(), std::nullopt);
    StatementHook hook;
    beginRecording();
    hook.once("BEGIN IMMEDIATE", [&] {
      const auto sensor = store->createSensorWithKey(key, context);
      sensor->setIsCustom(true);
      sensor->setCategory(twin);
      EXPECT_EQ(context->save(), std::nullopt);
    });
    sampleAt(kBegin + 2 * i);
    EXPECT_FALSE(hook.isWaiting());
    const auto later = otherProgram();
    EXPECT_THAT(*later->allCategories(), SizeIs(5));
    const auto category = later->getSensorByKey(key)->category();
    ASSERT_NE(category, nullptr);
    EXPECT_EQ(category->objectID(), later->getSensorByKey("TC0P")->category()->objectID());
  }
}

TEST_F(Recorder, JoinsASensorWithTheUsersOwnOfTheSameKey) {
  sampleAt(kBegin);
  for (const bool isOwnFirst : {false, true}) {
    const auto store = otherProgram();
    const auto context = store->viewContext();
    const auto known = store->getSensorByKey("TC0P");
    known->setIsCustom(isOwnFirst);
    known->setKey("");
    const auto twin = store->createSensorWithKey("TC0P", context);
    twin->setName("Desk");
    twin->setIsCustom(!isOwnFirst);
    twin->setCategory(known->category());
    known->setKey("TC0P");
    ASSERT_EQ(context->save(), std::nullopt);
    const std::int64_t own = (isOwnFirst ? known : twin)->objectID();
    sampleAt(kBegin + (isOwnFirst ? 4 : 2));
    const auto later = otherProgram();
    const auto stored = later->viewContext()->objectsOf("Sensor", Predicate("key = %@", {"TC0P"}));
    ASSERT_THAT(*stored, SizeIs(1));
    EXPECT_EQ(stored->front()->objectID(), own);
    EXPECT_THAT(series("TC0P", kHour), SizeIs(isOwnFirst ? 3 : 2));
  }
}

TEST_F(Recorder, DescribesEachSensorAsItWasRead) {
  const auto sensors = sampleAt(kBegin).sensors;
  const auto store = otherProgram();
  ASSERT_THAT(*store->allSensors(), SizeIs(sensors.size()));
  for (const SensorPtr& sensor : sensors) {
    const KVSensorPtr stored = store->getSensorByKey(sensor->key);
    ASSERT_NE(stored, nullptr) << sensor->key;
    EXPECT_EQ(stored->name(), sensor->name);
    EXPECT_EQ(stored->fullName(), sensor->fullName);
    EXPECT_EQ(stored->value(), sensor->value);
    EXPECT_EQ(stored->minValue(), sensor->minLimitValue);
    EXPECT_EQ(stored->maxValue(), sensor->maxLimitValue);
    EXPECT_EQ(stored->group(), static_cast<int>(sensor->group));
    EXPECT_EQ(stored->sourceType(), static_cast<int>(sensor->sourceType));
    EXPECT_EQ(stored->platform(), static_cast<int>(sensor->platform));
    EXPECT_EQ(stored->average(), sensor->average);
    EXPECT_FALSE(stored->isCustom());
  }
  EXPECT_EQ(store->getSensorByKey("0")->minValue(), 1200);
  EXPECT_EQ(store->getSensorByKey("0")->maxValue(), 6000);
}

TEST_F(Recorder, BringsADescriptionUpToDateThatAnotherProgramChanged) {
  sampleAt(kBegin);
  const auto other = otherProgram();
  const KVSensorPtr sensor = other->getSensorByKey("TC0P");
  const std::string name = sensor->name();
  sensor->setName("changed");
  sensor->setMaxValue(1);
  sensor->setCategory(other->getCategoryWithName("Power"));
  other->saveViewContext();
  sampleAt(kBegin + 2);
  EXPECT_EQ(stored("TC0P")->name(), name);
  EXPECT_EQ(stored("TC0P")->maxValue(), 110);
  EXPECT_EQ(stored("TC0P")->category()->name(), "Temperature");
}

TEST_F(Recorder, SeesWhatAnotherProgramChangedAlsoInAnObjectThatSomebodyHolds) {
  sampleAt(kBegin);
  const KVSensorPtr held = recorder->manager().coreDataStore().getSensorByKey("TC0P");
  const std::string name = held->name();
  const auto other = otherProgram();
  other->getSensorByKey("TC0P")->setName("changed");
  other->saveViewContext();
  sampleAt(kBegin + 2);
  EXPECT_EQ(stored("TC0P")->name(), name);
}

TEST_F(Recorder, AReadingThatIsNothingLeavesTheLastValue) {
  sampleAt(kBegin);
  KVCoreDataStore& store = recorder->manager().coreDataStore();
  const KVSensorPtr sensor = store.getSensorByKey("VC0C");
  for (const double nothing : {-1.0, std::nan(""), static_cast<double>(INFINITY)}) {
    const SensorPtr read = Sensor::instanceWithKey("VC0C", "CPU Core", SensorTypeVoltage, 1, 511);
    read->value = nothing;
    tool::StoredSensors::read(store)->update({read});
    EXPECT_EQ(sensor->value(), 1.25);
  }
}

TEST_F(Recorder, TheHourHasEverySampleOfTheLastHour) {
  const double end = kBegin + 1.5 * kHourSeconds + 35;
  record(kBegin, end, 5);
  // What is older than an hour goes with the first sample of each five minutes.
  const double lastTrim = kBegin + 1.5 * kHourSeconds;
  std::vector<Point> expected;
  for (double at = lastTrim - kHourSeconds + 5; at <= end; at += 5) {
    expected.emplace_back(at, processor(at));
  }
  EXPECT_EQ(series("TC0P", kHour), expected);
  EXPECT_THAT(series("0", kHour), SizeIs(expected.size()));
  EXPECT_EQ(series("0", kHour).back(), Point(end, fan(end)));
}

TEST_F(Recorder, TheDayHasTheFirstSampleOfEachMinuteOfTheLastDay) {
  const double end = kBegin + 1.05 * kDaySeconds;
  record(kBegin + 7, end, 30);
  const double lastSample = end - 23;
  const double lastTrim = kBegin + 7 + 300 * std::floor((lastSample - kBegin) / 300);
  std::vector<Point> expected;
  for (double at = kBegin + 7; at <= lastSample; at += kMinute) {
    if (at > lastTrim - kDaySeconds) {
      expected.emplace_back(at, processor(at));
    }
  }
  EXPECT_EQ(series("TC0P", kDay), expected);
}

TEST_F(Recorder, TheWeekHasTheFirstSampleOfEachTenMinutesOfTheLastWeek) {
  const double end = kBegin + 8 * kDaySeconds;
  record(kBegin, end, 300);
  std::vector<Point> expected;
  for (double at = end - kWeekSeconds + 600; at <= end; at += 600) {
    expected.emplace_back(at, processor(at));
  }
  EXPECT_EQ(series("TC0P", kWeek), expected);
}

TEST_F(Recorder, NothingIsLeftOfWhatHasExpiredAfterALongPause) {
  record(kBegin, kBegin + kHourSeconds, 10);
  const double later = kBegin + 9 * kDaySeconds;
  // Portions, so that no save is a big one.
  sampleAt(later);
  EXPECT_GT(series("TC0P", kHour).size(), 300U);
  for (int i = 1; i <= 30; ++i) {
    sampleAt(later + i);
  }
  EXPECT_THAT(series("TC0P", kHour), SizeIs(31));
  EXPECT_THAT(series("TC0P", kDay), ElementsAre(Point(later, processor(later))));
  EXPECT_THAT(series("TC0P", kWeek), ElementsAre(Point(later, processor(later))));
}

TEST_F(Recorder, ARecordingThatBeginsAgainInAStepAddsNoSecondPoint) {
  sampleAt(kBegin + 1);
  beginRecording();
  sampleAt(kBegin + 5);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(2));
  EXPECT_THAT(series("TC0P", kDay), SizeIs(1));
  EXPECT_THAT(series("TC0P", kWeek), SizeIs(1));
  beginRecording();
  sampleAt(kBegin + 61);
  EXPECT_THAT(series("TC0P", kDay), SizeIs(2));
  EXPECT_THAT(series("TC0P", kWeek), SizeIs(1));
}

TEST_F(Recorder, KeepsTheLowestAndTheHighestValueForEver) {
  std::map<double, double> model = {{0, 50}, {2, 40}, {4, 90}, {6, 60}};
  for (const auto& [after, value] : model) {
    sampleAt(kBegin + after);
  }
  double lowest = 1000;
  double highest = 0;
  for (const auto& [after, value] : model) {
    lowest = std::min(lowest, processor(kBegin + after));
    highest = std::max(highest, processor(kBegin + after));
  }
  EXPECT_EQ(stored("TC0P")->recordedMinValue(), lowest);
  EXPECT_EQ(stored("TC0P")->recordedMaxValue(), highest);
  sampleAt(kBegin + 3 * kWeekSeconds);
  EXPECT_LE(stored("TC0P")->recordedMinValue(), lowest);
  EXPECT_GE(stored("TC0P")->recordedMaxValue(), highest);
}

TEST_F(Recorder, TheStatusFollowsTheLastValue) {
  for (double at = kBegin; at < kBegin + 40000; at += 1000) {
    sampleAt(at);
    const double value = processor(at);
    EXPECT_EQ(stored("TC0P")->value(), value);
    EXPECT_EQ(stored("TC0P")->statusEnum(), value < 66 ? 1 : 2) << value;
    EXPECT_EQ(stored("0")->statusEnum(), fan(at) == 0 ? 4 : fan(at) < 4800 ? 5 : 6) << fan(at);
    EXPECT_TRUE(stored("VC0C")->isNormalCondition());
  }
}

TEST_F(Recorder, ASensorThatAnotherProgramDeletedIsRecordedAgainFromItsNextReading) {
  sampleAt(kBegin);
  const auto other = otherProgram();
  other->viewContext()->deleteObject(other->getSensorByKey("TC0P"));
  other->saveViewContext();
  EXPECT_EQ(sampleAt(kBegin + 2).fault, "");
  EXPECT_EQ(series("TC0P", kHour), (std::vector<Point>{{kBegin + 2, processor(kBegin + 2)}}));
  SQLite::Database file(storePath());
  EXPECT_EQ(file.execAndGet("SELECT count(*) FROM GraphPoint WHERE sensor IS NULL OR sensor NOT IN "
                            "(SELECT _id FROM Sensor)")
                .getInt(),
            0);
}

// Adds a sensor as the user would.
void addCustom(KVCoreDataStore& store, const std::string& key, const std::string& category) {
  const KVSensorPtr sensor = store.createSensorWithCustomInfo(
      {{"key", key}, {"name", "My " + key}, {"category_type", std::int64_t{0}}});
  sensor->setCategory(store.getCategoryWithName(category));
  sensor->setMaxValue(99);
  store.saveViewContext();
}

TEST_F(Recorder, ASensorThatTheUserAddedKeepsItsNamesAndGetsAHistory) {
  sampleAt(kBegin);
  const auto other = otherProgram();
  other->viewContext()->deleteObject(other->getSensorByKey("TXyz"));
  addCustom(*other, "TXyz", "Temperature");
  const auto outcome = sampleAt(kBegin + 2);
  EXPECT_EQ(stored("TXyz")->name(), "My TXyz");
  EXPECT_EQ(stored("TXyz")->maxValue(), 99);
  EXPECT_TRUE(stored("TXyz")->isCustom());
  EXPECT_EQ(stored("TXyz")->value(), 30);
  EXPECT_EQ(series("TXyz", kHour), (std::vector<Point>{{kBegin + 2, 30}}));
  const auto read =
      std::ranges::find(outcome.sensors, "TXyz", [](const auto& s) { return s->key; });
  ASSERT_NE(read, outcome.sensors.end());
  EXPECT_EQ((*read)->name, "My TXyz");
}

TEST_F(Recorder, ASensorThatTheUserAddedAndThatCannotBeReadHasNoPoints) {
  sampleAt(kBegin);
  const auto other = otherProgram();
  addCustom(*other, "TNOT", "Temperature");
  EXPECT_EQ(sampleAt(kBegin + 2).fault, "");
  EXPECT_THAT(series("TNOT", kHour), IsEmpty());
  EXPECT_EQ(stored("TNOT")->recordedMinValue(), -1);
}

TEST_F(Recorder, AnnouncesTheDatasetOnceSoThatTheMainSensorIsChosen) {
  int announced = 0;
  auto& centre = Platform::current().notificationCentres().inProcess();
  centre.addObserver(KVDataManagerDidGenerateDatasetNotification,
                     platform::SuspensionBehavior::kDefault,
                     [&](const platform::Notification&) { ++announced; });
  EXPECT_FALSE(recorder->manager().dataSetReady());
  sampleAt(kBegin);
  sampleAt(kBegin + 2);
  EXPECT_EQ(announced, 1);
  EXPECT_TRUE(recorder->manager().dataSetReady());
  EXPECT_EQ(recorder->manager().mainSensor()->key(), "TC0P");
}

// The clock.

TEST_F(Recorder, AClockThatIsSetBackLosesNothingAtFirst) {
  record(kBegin, kBegin + 600, 60);
  const double past = kBegin - kDaySeconds / 2;
  record(past, past + 300, 60);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(11 + 6));
  record(kBegin + 660, kBegin + 720, 60);  // the clock is right again
  EXPECT_THAT(series("TC0P", kHour), SizeIs(13));
  EXPECT_THAT(series("TC0P", kDay), SizeIs(13 + 6));
}

TEST_F(Recorder, PointsOfALaterTimeAreDeletedOnceTheClockHasRunOn) {
  record(kBegin, kBegin + 600, 60);
  const double past = kBegin - 3 * kDaySeconds;
  record(past, past + 900, 60);
  for (const int range : {kHour, kDay, kWeek}) {
    for (const Point& point : series("TC0P", range)) {
      EXPECT_LE(point.first, past + 900);
    }
  }
  EXPECT_THAT(series("TC0P", kHour), SizeIs(16));
}

TEST_F(Recorder, PointsOfTheNextHourGoToo) {
  record(kBegin, kBegin + 600, 60);
  const double past = kBegin - kHourSeconds / 2;
  record(past, past + 900, 60);
  EXPECT_EQ(series("TC0P", kDay).back().first, past + 900);
  EXPECT_THAT(series("TC0P", kDay), SizeIs(16));
}

TEST_F(Recorder, TheSameMinuteAgainAddsNoSecondPoint) {
  record(kBegin, kBegin + 120, 10);
  record(kBegin + 3, kBegin + 113, 10);  // set back by two minutes
  EXPECT_THAT(series("TC0P", kDay), SizeIs(3));
}

TEST_F(Recorder, AfterASleepTheSeriesHaveAGapAndContinue) {
  record(kBegin, kBegin + 600, 2);
  const double woken = kBegin + 4 * kHourSeconds;
  record(woken, woken + 60, 2);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(31));
  EXPECT_EQ(series("TC0P", kDay).back().first, woken + 60);
  EXPECT_THAT(series("TC0P", kDay), SizeIs(11 + 2));
}

// Values that cannot be read.

TEST_F(RecordedHistory, AValueThatIsMissingOrNotFiniteIsNotRecorded) {
  double voltage = 5;
  useMac({{"TC0P", constant(50)}, {"VC0C", [&](double) { return voltage; }}});
  sampleAt(kBegin);
  for (const double value : {-1.0, std::nan(""), static_cast<double>(INFINITY)}) {
    voltage = value;
    EXPECT_EQ(sampleAt(kBegin + 2).fault, "");
  }
  EXPECT_EQ(series("VC0C", kHour), (std::vector<Point>{{kBegin, 5}}));
  EXPECT_EQ(stored("VC0C")->value(), 5);
  EXPECT_EQ(stored("VC0C")->recordedMinValue(), 5);
  EXPECT_EQ(stored("VC0C")->recordedMaxValue(), 5);
}

TEST_F(RecordedHistory, ASensorThatIsGoneForAWhileKeepsItsHistory) {
  double degrees = 50;
  useMac({{"TC0P", [&](double) { return degrees; }}, {"TG0P", constant(40)}});
  sampleAt(kBegin);
  degrees = 0;  // implausible
  sampleAt(kBegin + 2);
  degrees = 52;
  sampleAt(kBegin + 4);
  EXPECT_EQ(series("TC0P", kHour), (std::vector<Point>{{kBegin, 50}, {kBegin + 4, 52}}));
  EXPECT_THAT(series("TG0P", kHour), SizeIs(3));
}

// The families of Apple silicon have different names for one key, and a later family may get both.
TEST_F(RecordedHistory, AKeyThatIsReadTwiceIsRecordedOnce) {
  Platform::install(recordedPlatform(machineWithKeys({temperature("Tp01", 40)}, "Apple M9")));
  controller = std::make_unique<SensorController>(Platform::current());
  const auto isKey = [](const SensorPtr& sensor) { return sensor->key == "Tp01"; };
  ASSERT_EQ(std::ranges::count_if(controller->getAllSensors(), isKey), 2);
  beginRecording();
  EXPECT_EQ(std::ranges::count_if(recorder->sample(instantOf(kBegin)).sensors, isKey), 1);
  EXPECT_THAT(series("Tp01", kHour), SizeIs(1));
}

TEST_F(RecordedHistory, AMacWithoutSensorsIsRecordedAsEmpty) {
  useMac({});
  const auto outcome = sampleAt(kBegin);
  EXPECT_THAT(outcome.sensors, IsEmpty());
  EXPECT_EQ(outcome.saved, 1U);
}

}  // namespace
}  // namespace kelvora::testing
