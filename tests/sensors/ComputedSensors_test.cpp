#include "sensors/ComputedSensors.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/NotANumber.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using testing::kNaN;

SensorPtr core(double value, std::uint64_t group = SensorGroupCPU, bool average = true,
               std::uint64_t type = SensorTypeTemperature) {
  return Sensor::instanceWithKey("TC0C", "CPU Core 1", "CPU Core 1", value, 0, 110, type, group,
                                 511, SensorSourceSMC, average);
}

SensorPtr fan(const std::string& key, double speed, std::uint64_t source = SensorSourceSMC) {
  return Sensor::instanceWithKey(key, "Fan " + key, "Fan " + key, speed, 1200, 6000, SensorTypeFan,
                                 SensorGroupFan, 3, source, false);
}

std::vector<std::string> keys(const SensorList& sensors) {
  std::vector<std::string> result;
  for (const SensorPtr& sensor : sensors) {
    result.push_back(sensor->key);
  }
  return result;
}

TEST(ComputedSensors, AveragesAndMaximaComeInTheirOrder) {
  const SensorList sensors =
      computedSensors({fan("0", 100), core(40), core(50), core(60, SensorGroupGPU),
                       core(30, SensorGroupGPU), fan("1", 200)});
  EXPECT_THAT(keys(sensors),
              ElementsAre("AverageCPU", "HottestCPU", "AverageGPU", "HottestGPU", "FastestFan"));
  EXPECT_EQ(sensors[0]->value, 45);
  EXPECT_EQ(sensors[1]->value, 50);
  EXPECT_EQ(sensors[2]->value, 45);
  EXPECT_EQ(sensors[3]->value, 60);
  EXPECT_EQ(sensors[4]->value, 200);
}

TEST(ComputedSensors, AComputedTemperatureHasTheFieldsOfItsGroup) {
  const SensorList sensors = computedSensors({core(60, SensorGroupGPU)});
  ASSERT_THAT(keys(sensors), ElementsAre("AverageGPU", "HottestGPU"));
  const Sensor& hottest = *sensors[1];
  EXPECT_EQ(hottest.name, "Hottest GPU");
  EXPECT_EQ(hottest.fullName, "Hottest GPU");
  EXPECT_EQ(sensors[0]->name, "Average GPU");
  EXPECT_EQ(hottest.minLimitValue, 0);
  EXPECT_EQ(hottest.maxLimitValue, 110);
  EXPECT_EQ(hottest.type, SensorTypeTemperature);
  EXPECT_EQ(hottest.group, SensorGroupGPU);
  EXPECT_EQ(hottest.platform, 511U);
  EXPECT_EQ(hottest.sourceType, SensorSourceComputed);
  EXPECT_FALSE(hottest.average);
}

TEST(ComputedSensors, OnlyFlaggedTemperaturesOfTheGroupCount) {
  EXPECT_TRUE(computedSensors({core(40, SensorGroupCPU, false), core(40, SensorGroupMemory),
                               core(40, SensorGroupCPU, true, SensorTypePower)})
                  .empty());
}

TEST(ComputedSensors, ARecordThatIsInTheListTwiceCountsTwice) {
  const SensorPtr twice = core(30);
  EXPECT_EQ(computedValue("AverageCPU", SensorTypeTemperature, {twice, core(60), twice}), 40);
}

TEST(ComputedSensors, WithoutInputsTheValueIsMinusOneAndThereIsNoSensor) {
  for (const char* key : {"AverageCPU", "HottestCPU", "AverageGPU", "HottestGPU"}) {
    EXPECT_EQ(computedValue(key, SensorTypeTemperature, {}), -1) << key;
  }
  EXPECT_TRUE(computedSensors({}).empty());
}

TEST(ComputedSensors, OnlyAValueAboveZeroMakesASensor) {
  EXPECT_TRUE(computedSensors({core(0)}).empty());
  EXPECT_TRUE(computedSensors({core(-20)}).empty());
  EXPECT_EQ(computedValue("HottestCPU", SensorTypeTemperature, {core(-20)}), -1);
  EXPECT_EQ(computedValue("AverageCPU", SensorTypeTemperature, {core(-20)}), -20);
}

TEST(ComputedSensors, NotANumberSpoilsTheAverageButNotTheMaximum) {
  const SensorList sensors = computedSensors({core(kNaN), core(50)});
  EXPECT_THAT(keys(sensors), ElementsAre("HottestCPU"));
  EXPECT_EQ(sensors[0]->value, 50);
}

TEST(ComputedSensors, OneFanIsNotTheFastest) {
  EXPECT_TRUE(computedSensors({fan("0", 3000)}).empty());
  EXPECT_EQ(computedValue("FastestFan", SensorTypeFan, {fan("0", 3000)}), 3000);
}

TEST(ComputedSensors, OfTwoStoppedFansTheFirstIsTheFastest) {
  const SensorPtr first = fan("0", 0);
  first->minLimitValue = 1300;
  first->maxLimitValue = 5900;
  first->platform = 7;
  const SensorList sensors = computedSensors({first, fan("1", 0)});
  ASSERT_THAT(keys(sensors), ElementsAre("FastestFan"));
  const Sensor& fastest = *sensors[0];
  EXPECT_EQ(fastest.name, "Fastest Fan");
  EXPECT_EQ(fastest.fullName, "Fastest Fan");
  EXPECT_EQ(fastest.value, 0);
  EXPECT_EQ(fastest.minLimitValue, 1300);
  EXPECT_EQ(fastest.maxLimitValue, 5900);
  EXPECT_EQ(fastest.type, SensorTypeFan);
  EXPECT_EQ(fastest.group, SensorGroupFan);
  EXPECT_EQ(fastest.platform, 7U);
  EXPECT_EQ(fastest.sourceType, SensorSourceComputed);
  EXPECT_FALSE(fastest.average);
}

TEST(ComputedSensors, TheFirstFanIsTheFastestWhateverItsSpeedUntilAFasterOneComes) {
  EXPECT_EQ(computedSensors({fan("0", -5), fan("1", -7)}).at(0)->value, -5);
  EXPECT_EQ(computedSensors({fan("0", 10), fan("1", 20), fan("2", 15)}).at(0)->value, 20);
  EXPECT_EQ(computedValue("FastestFan", SensorTypeFan, {fan("0", -5), fan("1", -7)}), 0);
}

TEST(ComputedSensors, AComputedFanMakesTheNumberButIsNeverTheFastest) {
  const SensorPtr computed = fan("FastestFan", 9000, SensorSourceComputed);
  EXPECT_EQ(computedSensors({computed, fan("0", 100)}).at(0)->value, 100);
  EXPECT_TRUE(computedSensors({computed, computed}).empty());
  EXPECT_EQ(computedValue("FastestFan", SensorTypeFan, {computed, fan("0", 100)}), 100);
}

TEST(ComputedSensors, AnyOtherKeyOrTypeIsZero) {
  const SensorList reading = {core(40), fan("0", 100)};
  EXPECT_EQ(computedValue("FastestFan", SensorTypeTemperature, reading), 0);
  EXPECT_EQ(computedValue("AverageCPU", SensorTypeFan, reading), 0);
  EXPECT_EQ(computedValue("averagecpu", SensorTypeTemperature, reading), 0);
  EXPECT_EQ(computedValue("AverageCPU", SensorTypePower, reading), 0);
  EXPECT_EQ(computedValue("", SensorTypeFan, reading), 0);
}

}  // namespace
}  // namespace kelvora
