#include "tools/kelvora/HistoryRecorder.h"

#include <chrono>
#include <cmath>
#include <filesystem>
#include <map>
#include <numbers>
#include <random>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/ResourceLimit.h"
#include "tests/tools/RecordedHistory.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr int kHour = 0;
constexpr int kDay = 1;
constexpr int kWeek = 2;
constexpr double kMinute = 60;
constexpr double kHourSeconds = 3600;
constexpr double kDaySeconds = 86400;
constexpr double kWeekSeconds = 604800;

ModelSMC::Curve constant(double value) {
  return [value](double) { return value; };
}

// As a "flt " of the SMC holds it.
double asFloat(double value) { return static_cast<double>(static_cast<float>(value)); }

double processor(double seconds) { return asFloat(60 + 30 * std::sin(seconds / 5000)); }
double fan(double seconds) { return asFloat(std::fmod(seconds, 5000)); }

ModelSMC::Curves smallMac() {
  return {{"TC0P", processor},      {"TG0P", constant(45.5)}, {"VC0C", constant(1.25)},
          {"IC0C", constant(12)},   {"PC0C", constant(15)},   {"F0Ac", fan},
          {"F0Mn", constant(1200)}, {"F0Mx", constant(6000)}, {"TXyz", constant(30)}};
}

std::vector<platform::RecordedSMCKey> oneFan() { return {smcKey("FNum", "ui8 ", {1})}; }

class Recorder : public RecordedHistory {
 protected:
  Recorder() { useMac(smallMac(), oneFan()); }
};

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
  // What is older than an hour goes with the first sample of each minute.
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
  const double lastTrim = lastSample - 30;
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

TEST_F(Recorder, PointsOfALaterTimeGoOnceTheClockHasRunOn) {
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

TEST_F(Recorder, AfterASleepTheSeriesHaveAGapAndGoOn) {
  record(kBegin, kBegin + 600, 2);
  const double woken = kBegin + 4 * kHourSeconds;
  record(woken, woken + 60, 2);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(31));
  EXPECT_EQ(series("TC0P", kDay).back().first, woken + 60);
  EXPECT_THAT(series("TC0P", kDay), SizeIs(11 + 2));
}

// Values that cannot be read.

TEST_F(RecordedHistory, AValueThatIsNoNumberOrNothingIsNotRecorded) {
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

TEST_F(RecordedHistory, AMacWithoutSensorsIsRecordedAsEmpty) {
  useMac({});
  const auto outcome = sampleAt(kBegin);
  EXPECT_THAT(outcome.sensors, IsEmpty());
  EXPECT_EQ(outcome.saved, 1U);
}

// Saves that fail.

TEST_F(Recorder, AFullDiskLosesNothingThatStillFits) {
  sampleAt(kBegin);
  {
    const ResourceLimit disk(RLIMIT_FSIZE, 100);
    for (int i = 1; i <= 5; ++i) {
      const auto outcome = sampleAt(kBegin + 30 * i);
      EXPECT_NE(outcome.fault, "");
      EXPECT_EQ(outcome.saved, 0U);
      EXPECT_EQ(outcome.waiting, static_cast<std::size_t>(i));
      // What compares the values with a limit, say, sees those of now.
      EXPECT_EQ(recorder->manager().coreDataStore().getSensorByKey("TC0P")->value(),
                processor(kBegin + 30 * i));
    }
    EXPECT_NE(recorder->saveWaiting().fault, "");
  }
  const auto outcome = sampleAt(kBegin + 180);
  EXPECT_EQ(outcome.fault, "");
  EXPECT_EQ(outcome.saved, 6U);
  EXPECT_EQ(outcome.waiting, 0U);
  std::vector<Point> expected;
  for (int i = 0; i <= 6; ++i) {
    expected.emplace_back(kBegin + 30 * i, processor(kBegin + 30 * i));
  }
  EXPECT_EQ(series("TC0P", kHour), expected);
  EXPECT_THAT(series("TC0P", kDay), SizeIs(4));
  double lowest = expected.front().second;
  for (const Point& point : expected) {
    lowest = std::min(lowest, point.second);
  }
  EXPECT_EQ(stored("TC0P")->recordedMinValue(), lowest);
}

TEST_F(Recorder, ADiskThatIsFullFromTheStartIsWaitedForToo) {
  {
    const ResourceLimit disk(RLIMIT_FSIZE, 0);
    EXPECT_THAT(sampleAt(kBegin).fault, HasSubstr("store"));
    EXPECT_EQ(sampleAt(kBegin + 2).waiting, 2U);
  }
  EXPECT_EQ(sampleAt(kBegin + 4).saved, 3U);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(3));
}

TEST_F(Recorder, WhatWaitsIsBoundedByTheRetention) {
  sampleAt(kBegin);
  const double outage = kBegin + kMinute;
  std::size_t most = 0;
  {
    const ResourceLimit disk(RLIMIT_FSIZE, 100);
    for (int i = 0; i < 1500; ++i) {
      most = std::max(most, sampleAt(outage + 10 * i).waiting);
    }
  }
  // An hour of samples, and before it one for each minute.
  EXPECT_LE(most, 360U + 190U + 2U);
  const double end = outage + 15000;
  // What is saved late is not saved to be deleted at once.
  std::size_t saved = sampleAt(end).saved;
  EXPECT_THAT(series("TC0P", kHour), SizeIs(1));
  for (int i = 1; i < 20; ++i) {
    saved += sampleAt(end + i).saved;
  }
  EXPECT_GT(saved, 500U);
  EXPECT_EQ(recorder->saveWaiting().waiting, 0U);
  const std::vector<Point> day = series("TC0P", kDay);
  ASSERT_THAT(day, SizeIs(252));
  for (std::size_t i = 0; i < 251; ++i) {
    EXPECT_EQ(day[i].first, kBegin + kMinute * static_cast<double>(i));
  }
  const std::vector<Point> hour = series("TC0P", kHour);
  for (std::size_t i = 1; i < hour.size(); ++i) {
    EXPECT_LT(hour[i - 1].first, hour[i].first);
  }
}

TEST_F(Recorder, ALongOutageIsMadeUpForInPortions) {
  sampleAt(kBegin);
  {
    const ResourceLimit disk(RLIMIT_FSIZE, 100);
    for (int i = 1; i <= 150; ++i) {
      sampleAt(kBegin + 2 * i);
    }
  }
  const auto outcome = sampleAt(kBegin + 302);
  EXPECT_EQ(outcome.saved, 60U);
  EXPECT_EQ(outcome.waiting, 91U);
  EXPECT_EQ(outcome.fault, "");
  EXPECT_EQ(recorder->saveWaiting().saved, 91U);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(152));
}

TEST_F(Recorder, AnotherProgramThatClearsTheStoreBeginsANewOne) {
  record(kBegin, kBegin + 20, 2);
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::filesystem::remove(storePath() + ending);
  }
  const auto outcome = sampleAt(kBegin + 22);
  EXPECT_TRUE(outcome.isStoreNew);
  EXPECT_EQ(outcome.fault, "");
  EXPECT_EQ(outcome.saved, 1U);
  EXPECT_FALSE(sampleAt(kBegin + 24).isStoreNew);
  EXPECT_THAT(series("TC0P", kHour), SizeIs(2));
  EXPECT_THAT(series("TC0P", kDay), SizeIs(1));
  EXPECT_THAT(series("TC0P", kWeek), SizeIs(1));
  EXPECT_THAT(*otherProgram()->allCategories(), SizeIs(5));
  EXPECT_TRUE(recorder->manager().dataSetReady());
}

TEST_F(Recorder, WhatWaitedBeforeTheStoreWasClearedIsDropped) {
  sampleAt(kBegin);
  {
    const ResourceLimit disk(RLIMIT_FSIZE, 100);
    sampleAt(kBegin + 2);
  }
  recorder->manager().coreDataStore().viewContext();  // open again
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::filesystem::remove(storePath() + ending);
  }
  sampleAt(kBegin + 4);
  EXPECT_EQ(series("TC0P", kHour), (std::vector<Point>{{kBegin + 4, processor(kBegin + 4)}}));
}

TEST_F(Recorder, ALockThatAnotherProgramKeepsIsWaitedForAtTheNextSample) {
  sampleAt(kBegin);
  recorder->manager().coreDataStore();
  SQLite::Database other(storePath(), SQLite::OPEN_READWRITE);
  other.exec("BEGIN IMMEDIATE");
  const auto refused = sampleAt(kBegin + 2);
  EXPECT_EQ(refused.fault, "database is locked");
  other.exec("ROLLBACK");
  EXPECT_EQ(sampleAt(kBegin + 4).saved, 2U);
}

// A recorder that is killed.

// Records without end, and writes a byte to `done` after each sample.
class EndlessRecording {
 public:
  template <typename Sample>
  EndlessRecording(double begin, Sample sample)
      : child_([&] {
          for (double at = begin;; at += 2) {
            sample(at);
            if (write(done_.ends[1], "", 1) != 1) {
              return 1;
            }
          }
          return 0;
        }) {}

  void killAfter(int samples, std::chrono::microseconds pause) {
    for (char byte = 0; samples > 0; --samples) {
      EXPECT_EQ(read(done_.ends[0], &byte, 1), 1);
    }
    const auto end = std::chrono::steady_clock::now() + pause;
    while (std::chrono::steady_clock::now() < end) {
    }
    child_.kill();
    child_.wait();
  }

 private:
  struct Pipe {
    Pipe() { EXPECT_EQ(pipe(ends), 0); }
    ~Pipe() {
      close(ends[0]);
      close(ends[1]);
    }
    int ends[2];
  };
  Pipe done_;
  ChildWork child_;
};

TEST_F(Recorder, KilledAtAnyMomentLeavesWholeSamplesInASoundFile) {
  const unsigned seed = randomSeed();
  SCOPED_TRACE(seedNote(seed));
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> samples(1, 40);
  std::uniform_int_distribution<int> microseconds(0, 10000);
  sampleAt(kBegin);
  const std::size_t sensors = otherProgram()->allSensors()->size();
  recorder.reset();
  double begin = kBegin + 2;
  for (int round = 0; round < 20; ++round) {
    EndlessRecording recording(begin, [&](double at) {
      if (recorder == nullptr) {
        beginRecording();
      }
      sampleAt(at);
    });
    recording.killAfter(samples(random), std::chrono::microseconds(microseconds(random)));
    SQLite::Database file(storePath(), SQLite::OPEN_READWRITE);
    ASSERT_EQ(file.execAndGet("PRAGMA integrity_check").getString(), "ok");
    ASSERT_EQ(file.execAndGet("SELECT count(*) FROM (SELECT pointX FROM GraphPoint GROUP BY "
                              "timeRange, pointX HAVING count(*) != " +
                              std::to_string(sensors) + ")")
                  .getInt(),
              0);
    begin = file.execAndGet("SELECT max(pointX) FROM GraphPoint").getDouble() + 2;
  }
  beginRecording();
  EXPECT_EQ(sampleAt(begin).saved, 1U);
  EXPECT_EQ(series("TC0P", kDay).size(), std::ceil((begin + 2 - kBegin) / kMinute));
}

}  // namespace
}  // namespace kelvora::testing
