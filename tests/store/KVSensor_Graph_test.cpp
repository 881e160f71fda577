#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tests/store/StoredSensorFixture.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using testing::kWithoutCategory;

class SensorGraph : public testing::StoredSensorFixture {
 protected:
  static std::vector<double> valuesOf(const std::vector<KVGraphPointPtr>& points) {
    std::vector<double> values;
    for (const auto& point : points) {
      values.push_back(point->pointY());
    }
    return values;
  }
};

TEST_F(SensorGraph, EachSeriesHasItsPointsInStoredOrder) {
  const auto sensor = sensorOf(SensorTypePower);
  for (const double value : {1, 2, 3, 4, 5, 6, 7, 8}) {
    addPoint(sensor, value, static_cast<std::int16_t>(static_cast<int>(value) % 4));
  }
  const auto points = sensor->graphPoints();
  sensor->insertIntoGraphPoints(points.back(), 0);  // the 8
  EXPECT_THAT(valuesOf(sensor->hourGraphPoints()), ElementsAre(8, 4));
  EXPECT_THAT(valuesOf(sensor->dayGraphPoints()), ElementsAre(1, 5));
  EXPECT_THAT(valuesOf(sensor->weekGraphPoints()), ElementsAre(2, 6));
}

TEST_F(SensorGraph, ASensorWithoutPointsHasThreeEmptySeries) {
  const auto sensor = sensorOf(SensorTypePower);
  EXPECT_TRUE(sensor->hourGraphPoints().empty());
  EXPECT_TRUE(sensor->dayGraphPoints().empty());
  EXPECT_TRUE(sensor->weekGraphPoints().empty());
}

TEST_F(SensorGraph, AnAssignedSeriesIsNeverReadBack) {
  const auto sensor = sensorOf(SensorTypePower);
  addPoint(sensor, 1, 0);
  addPoint(sensor, 2, 1);
  addPoint(sensor, 3, 2);
  sensor->setHourGraphPoints({});
  sensor->setDayGraphPoints({});
  sensor->setWeekGraphPoints({});
  EXPECT_THAT(valuesOf(sensor->hourGraphPoints()), ElementsAre(1));
  EXPECT_THAT(valuesOf(sensor->dayGraphPoints()), ElementsAre(2));
  EXPECT_THAT(valuesOf(sensor->weekGraphPoints()), ElementsAre(3));
}

struct Range {
  int type;
  bool celsius;
  std::int64_t fanValueType;
  double recordedMinimum, recordedMaximum;
  double minimum, maximum;
};

// Limits 10 and 100.
constexpr Range kRanges[] = {
    {0, true, 0, -1, -1, 10, 100},  {0, true, 0, 5, 120, 5, 120},
    {0, true, 1, 20, 90, 10, 100},  {0, false, 0, -1, -1, 50, 212},
    {0, false, 0, 5, 120, 41, 248}, {0, true, 0, -5, -1, -5, 100},
    {1, true, 0, -1, -1, 10, 100},  {1, false, 0, 5, 120, 5, 120},
    {1, true, 1, 5, 120, 0, 1},     {1, false, 1, -1, -1, 0, 1},
    {2, false, 1, 5, 120, 5, 120},  {2, false, 1, -1, -1, 10, 100},
    {3, false, 0, 5, 120, 5, 120},  {4, true, 1, 5, 120, 5, 120},
    {7, false, 1, 5, 120, 5, 120},  {kWithoutCategory, false, 1, 5, 120, 5, 120},
};

TEST_F(SensorGraph, TheRangeReachesFromLimitsToRecordedExtremes) {
  for (const Range& expected : kRanges) {
    SCOPED_TRACE(::testing::Message() << expected.type << ' ' << expected.recordedMinimum);
    settings->setTempUnitCelsius(expected.celsius);
    settings->setFanValueType(expected.fanValueType);
    const auto sensor = sensorOf(expected.type);
    sensor->setMinValue(10);
    sensor->setMaxValue(100);
    sensor->setRecordedMinValue(expected.recordedMinimum);
    sensor->setRecordedMaxValue(expected.recordedMaximum);
    EXPECT_EQ(sensor->graphMinValue(), expected.minimum);
    EXPECT_EQ(sensor->graphMaxValue(), expected.maximum);
    EXPECT_EQ(sensor->graphMinValue(*settings), expected.minimum);
    EXPECT_EQ(sensor->graphMaxValue(*settings), expected.maximum);
  }
}

TEST_F(SensorGraph, TheRangeFollowsTheSettingsThatAreGiven) {
  KVSettingsSnapshot percentage(*settings);
  percentage.setFanValueType(1);
  EXPECT_EQ(fanOf(0)->graphMinValue(percentage), 0);
  EXPECT_EQ(fanOf(0)->graphMaxValue(percentage), 1);
  EXPECT_EQ(fanOf(0)->graphMinValue(), 1200);
  EXPECT_EQ(fanOf(0)->graphMaxValue(), 6000);
}

struct Extremes {
  std::vector<double> points;
  double lowest;
  double highest;
};

TEST_F(SensorGraph, TheExtremesAreThoseOfAllSeriesElseTheRecordedOnes) {
  constexpr double kRecordedMinimum = 3;
  constexpr double kRecordedMaximum = 4;
  const std::vector<Extremes> cases{
      {{}, kRecordedMinimum, kRecordedMaximum},
      {{50}, 50, 50},
      {{50, 60, 40}, 40, 60},
      {{40, 60, 50}, 40, 60},
      {{50, 50}, 50, 50},
      {{-5, -7, -6}, -7, -5},
      // -1 means that nothing was recorded, also as the extreme of points.
      {{-1, -1}, kRecordedMinimum, kRecordedMaximum},
      {{-1, 7}, kRecordedMinimum, 7},
      {{7, -1, 9}, kRecordedMinimum, 9},
      {{-1, -7}, -7, kRecordedMaximum},
      {{0, 0}, 0, 0},
  };
  for (const Extremes& expected : cases) {
    const auto sensor = sensorOf(SensorTypePower, "P" + std::to_string(&expected - cases.data()));
    sensor->setRecordedMinValue(kRecordedMinimum);
    sensor->setRecordedMaxValue(kRecordedMaximum);
    std::int16_t timeRange = 2;
    for (const double value : expected.points) {
      addPoint(sensor, value, timeRange--);
    }
    EXPECT_EQ(sensor->finalRecordedMinValue(), expected.lowest) << sensor->key();
    EXPECT_EQ(sensor->finalRecordedMaxValue(), expected.highest) << sensor->key();
  }
}

}  // namespace
}  // namespace kelvora
