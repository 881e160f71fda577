#include <chrono>
#include <cmath>
#include <filesystem>
#include <random>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/ResourceLimit.h"
#include "tests/tools/Recorder.h"
#include "tools/kelvora/HistoryRecorder.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST_F(Recorder, AFullDiskLosesNothingThatStillFits) {
  sampleAt(kBegin);
  {
    const ResourceLimit disk(RLIMIT_FSIZE, 100);
    for (int i = 1; i <= 5; ++i) {
      const auto outcome = sampleAt(kBegin + 30 * i);
      EXPECT_NE(outcome.fault, "");
      EXPECT_EQ(outcome.saved, 0U);
      EXPECT_EQ(outcome.waiting, static_cast<std::size_t>(i));
      // A comparison with a limit uses the present values.
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

TEST_F(Recorder, WithoutAModelEverySampleWaits) {
  auto& bundle = Platform::current().ports().mainBundle;
  auto forwarding = std::make_unique<ForwardingMainBundle>(std::move(bundle));
  forwarding->onResourcePath = [](std::string_view, std::string_view) { return std::nullopt; };
  bundle = std::move(forwarding);
  beginRecording();
  EXPECT_THAT(sampleAt(kBegin).fault, HasSubstr("the store cannot be opened or read"));
  EXPECT_EQ(sampleAt(kBegin + 2).waiting, 2U);
  EXPECT_EQ(recorder->saveWaiting().waiting, 2U);
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
