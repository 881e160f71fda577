// What is read of a store to show one sensor's history.

#include "tools/kelvora/SensorHistory.h"

#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tests/engine/StatementHook.h"
#include "tests/tools/HistoryFixture.h"

namespace kelvora::testing {
namespace {

class SensorHistoryReading : public HistoryFixture {
 protected:
  // A sensor with a few points of each series.
  void recordAll(const std::string& key) {
    for (const std::int16_t timeRange : std::initializer_list<std::int16_t>{0, 1, 2}) {
      std::vector<RecordedPoint> points;
      for (int i = 0; i < kPoints; ++i) {
        points.push_back({100.0 - i, 45});
      }
      record(key, key, 0, timeRange, points);
    }
  }
  static constexpr int kPoints = 50;
};

TEST_F(SensorHistoryReading, ReadsThePointsOfThisSensorOnly) {
  for (const char* key : {"TC0P", "TG0D", "Tm0P", "Ts0P"}) {
    recordAll(key);
  }
  const StatementHook hook;
  KVSettingsSnapshot settings;
  const KVLocalized::Texts texts(settings, *platform_);
  KVCoreDataStore store(-1, *platform_, settings, {.busyTimeoutMs = 5000, .isReadOnly = true});
  const auto sensor = store.getSensorByKey("TG0D");
  ASSERT_NE(sensor, nullptr);
  const std::size_t before = StatementHook::rows();
  const auto history =
      tool::sensorHistory(*sensor, 1, std::chrono::system_clock::now(), settings, texts);
  EXPECT_EQ(history.points.size(), kPoints + 0U);
  EXPECT_LE(StatementHook::rows() - before, 3 * kPoints + 1U)
      << "the three series of the sensor, and its category";
}

TEST_F(SensorHistoryReading, FindsOutWhichSensorsHaveAHistoryWithFewRows) {
  for (const char* key : {"TC0P", "TG0D", "Tm0P", "Ts0P"}) {
    recordAll(key);
  }
  record("Tx", "Tx", 0, 0, {});
  const StatementHook hook;
  KVSettingsSnapshot settings;
  KVCoreDataStore store(-1, *platform_, settings, {.busyTimeoutMs = 5000, .isReadOnly = true});
  store.viewContext();
  const std::size_t before = StatementHook::rows();
  const auto sensors = tool::sensorsWithHistory(store);
  ASSERT_TRUE(sensors);
  EXPECT_EQ(sensors->size(), 4U);
  EXPECT_LE(StatementHook::rows() - before, 5 + 4 + 0U) << "the sensors, and a point of each";
}

}  // namespace
}  // namespace kelvora::testing
