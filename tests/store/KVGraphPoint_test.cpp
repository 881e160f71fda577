#include <cmath>
#include <limits>

#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tests/store/StoredSensorFixture.h"

namespace kelvora {
namespace {

using testing::kWithoutCategory;

class GraphPoint : public testing::StoredSensorFixture {
 protected:
  GraphPoint() { ::setenv("TZ", "UTC", 1); }

  KVGraphPointPtr pointOf(const KVSensorPtr& sensor, double value) {
    auto point = store->createGraphPoint();
    point->setPointY(value);
    point->setSensor(sensor);
    return point;
  }
};

TEST_F(GraphPoint, TheTitleIsItsTimeOnTwoLines) {
  const auto point = pointOf(nullptr, 0);
  point->setPointX(1709820309);
  EXPECT_EQ(point->title(), "3/07/2024\n14:05:09");
  point->setPointX(1709820309.99);
  EXPECT_EQ(point->title(), "3/07/2024\n14:05:09");
  point->setPointX(-0.5);
  EXPECT_EQ(point->title(), "12/31/1969\n23:59:59");
}

TEST_F(GraphPoint, TheTitleOfAnImpossibleTimeIsTheNearestDate) {
  const auto point = pointOf(nullptr, 0);
  point->setPointX(1e300);
  EXPECT_EQ(point->title(), "7/15/2261\n11:33:20");
  point->setPointX(std::numeric_limits<double>::infinity());
  EXPECT_EQ(point->title(), "7/15/2261\n11:33:20");
  point->setPointX(-1e300);
  EXPECT_EQ(point->title(), "6/18/1678\n12:26:40");
  point->setPointX(std::nan(""));
  EXPECT_EQ(point->title(), "6/18/1678\n12:26:40");
}

struct PointConversion {
  int type;
  bool celsius;
  std::int64_t fanValueType;
  double value;
  const char* text;
};

// Stored: 3000, of a sensor with the limits 1200 and 6000.
constexpr PointConversion kPointConversions[] = {
    {0, true, 0, 3000, "3000°C"},    {0, true, 1, 3000, "3000°C"},
    {0, false, 0, 5432, "5432°F"},   {0, false, 1, 5432, "5432°F"},
    {1, true, 0, 3000, "3000rpm"},   {1, false, 0, 3000, "3000rpm"},
    {1, true, 1, 0.5, "50%"},        {1, false, 1, 0.5, "50%"},
    {1, true, 2, 3000, "3000rpm"},   {2, true, 0, 3000, "3000.00V"},
    {2, false, 1, 3000, "3000.00V"}, {3, true, 0, 3000, "3000.00A"},
    {3, false, 1, 3000, "3000.00A"}, {4, true, 0, 3000, "3000.00W"},
    {4, false, 1, 3000, "3000.00W"}, {7, true, 0, 3000, "3000.00"},
    {7, false, 1, 3000, "3000.00"},  {kWithoutCategory, false, 1, 3000, "3000.00"},
};

TEST_F(GraphPoint, TheValueFollowsTheTypeAndTheSettings) {
  for (const PointConversion& expected : kPointConversions) {
    SCOPED_TRACE(::testing::Message()
                 << expected.type << ' ' << expected.celsius << ' ' << expected.fanValueType);
    settings->setTempUnitCelsius(expected.celsius);
    settings->setFanValueType(expected.fanValueType);
    const auto sensor = sensorOf(expected.type);
    sensor->setMinValue(1200);
    sensor->setMaxValue(6000);
    const auto point = pointOf(sensor, 3000);
    EXPECT_EQ(point->convertedPointY(), expected.value);
    EXPECT_EQ(point->convertedPointY(*settings), expected.value);
    EXPECT_EQ(point->valueString(), expected.text);
    EXPECT_EQ(point->valueString(*settings), expected.text);
  }
}

TEST_F(GraphPoint, TheSettingsThatAreGivenCount) {
  KVSettingsSnapshot fahrenheit(*settings);
  fahrenheit.setTempUnitCelsius(false);
  const auto point = pointOf(sensorOf(SensorTypeTemperature), 45.5);
  EXPECT_EQ(point->valueString(fahrenheit), "114°F");
  EXPECT_EQ(point->valueString(), "46°C");
}

TEST_F(GraphPoint, WithoutASensorTheValueIsAsStored) {
  settings->setTempUnitCelsius(false);
  settings->setFanValueType(1);
  EXPECT_EQ(pointOf(nullptr, 45)->convertedPointY(), 45);
  EXPECT_EQ(pointOf(nullptr, 45)->valueString(), "45.00");
}

// Of the upper limit alone, and not clamped: other than the sensor's own value.
TEST_F(GraphPoint, AFansFractionIsOfItsUpperLimitAlone) {
  settings->setFanValueType(1);
  EXPECT_EQ(pointOf(fanOf(3000), 3000)->convertedPointY(), 0.5);
  EXPECT_EQ(fanOf(3000)->convertedValue(), 0.375);
  EXPECT_EQ(pointOf(fanOf(0), 9000)->convertedPointY(), 1.5);
  EXPECT_EQ(pointOf(fanOf(0), 9000)->valueString(), "150%");
  EXPECT_EQ(pointOf(fanOf(0), -3000)->convertedPointY(), -0.5);
  EXPECT_EQ(pointOf(fanOf(0), -3000)->valueString(), "-");
}

TEST_F(GraphPoint, AFractionOfNoUpperLimitIsInfiniteOrNotANumber) {
  settings->setFanValueType(1);
  EXPECT_EQ(pointOf(fanOf(0, 0, 0), 3000)->convertedPointY(),
            std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(pointOf(fanOf(0, 0, 0), 0)->convertedPointY()));
  EXPECT_EQ(pointOf(fanOf(0, 0, 0), 0)->valueString(), "0%");
}

TEST_F(GraphPoint, ANewPointIsEmptyAndOfTheGivenContext) {
  const auto context = store->newContext();
  for (const auto& point : {store->createGraphPoint(), store->createGraphPointInContext(context)}) {
    EXPECT_EQ(point->pointX(), 0);
    EXPECT_EQ(point->pointY(), 0);
    EXPECT_EQ(point->timeRange(), 0);
    EXPECT_EQ(point->sensor(), nullptr);
  }
  EXPECT_EQ(store->createGraphPoint()->managedObjectContext(), store->viewContext());
  EXPECT_EQ(store->createGraphPointInContext(context)->managedObjectContext(), context);
}

}  // namespace
}  // namespace kelvora
