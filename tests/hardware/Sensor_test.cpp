#include "KelvoraCore/Sensor.h"

#include <limits>
#include <type_traits>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

bool isValid(std::uint64_t type, double value, double minLimitValue = 0, double maxLimitValue = 0) {
  return Sensor::instanceWithKey("KEY0", "Name", "Full name", value, minLimitValue, maxLimitValue,
                                 type, SensorGroupNone, 511, SensorSourceSMC, false)
      ->isValidValue();
}

TEST(Sensor, ATemperatureIsValidAboveItsMinimumUpToItsMaximum) {
  EXPECT_TRUE(isValid(SensorTypeTemperature, 110.0, 0, 110));
  EXPECT_FALSE(isValid(SensorTypeTemperature, 110.01, 0, 110));
  EXPECT_FALSE(isValid(SensorTypeTemperature, 0.0, 0, 110));
  EXPECT_TRUE(isValid(SensorTypeTemperature, 0.01, 0, 110));
  EXPECT_FALSE(isValid(SensorTypeTemperature, -1.0, 0, 110));
  EXPECT_TRUE(isValid(SensorTypeTemperature, -1.0, -2, 110));
}

TEST(Sensor, ATemperatureWithoutLimitsIsNeverValid) {
  for (const double value : {-10.0, 0.0, 0.001, 41.5, 110.0}) {
    EXPECT_FALSE(isValid(SensorTypeTemperature, value)) << value;
  }
}

TEST(Sensor, AFanIsValidAtAnySpeed) {
  for (const double value : {-1.0, 0.0, 2000.0, 1e9}) {
    EXPECT_TRUE(isValid(SensorTypeFan, value, 1200, 6000)) << value;
  }
}

TEST(Sensor, AVoltageIsValidUnlessItIsZeroOrAbove300) {
  EXPECT_TRUE(isValid(SensorTypeVoltage, -5.0));
  EXPECT_FALSE(isValid(SensorTypeVoltage, 0.0));
  EXPECT_FALSE(isValid(SensorTypeVoltage, -0.0));
  EXPECT_TRUE(isValid(SensorTypeVoltage, 300.0));
  EXPECT_FALSE(isValid(SensorTypeVoltage, 300.5));
}

TEST(Sensor, ACurrentIsValidAboveZeroUpTo100) {
  EXPECT_TRUE(isValid(SensorTypeCurrent, 100.0));
  EXPECT_FALSE(isValid(SensorTypeCurrent, 0.0));
  EXPECT_FALSE(isValid(SensorTypeCurrent, -0.5));
  EXPECT_FALSE(isValid(SensorTypeCurrent, 100.5));
}

TEST(Sensor, APowerIsValidAboveZero) {
  EXPECT_FALSE(isValid(SensorTypePower, 0.0));
  EXPECT_FALSE(isValid(SensorTypePower, -0.1));
  EXPECT_TRUE(isValid(SensorTypePower, 5000.0));
}

TEST(Sensor, AnUnknownTypeIsNeverValid) {
  EXPECT_FALSE(isValid(5, 41.5, 0, 110));
  EXPECT_FALSE(isValid(UINT64_MAX, 41.5, 0, 110));
  EXPECT_FALSE(isValid(5, std::numeric_limits<double>::quiet_NaN(), 0, 110));
}

TEST(Sensor, NotANumberIsValidForEveryKnownType) {
  for (std::uint64_t type = SensorTypeTemperature; type <= SensorTypePower; ++type) {
    EXPECT_TRUE(isValid(type, std::numeric_limits<double>::quiet_NaN(), 0, 110)) << type;
  }
}

TEST(Sensor, TheFullFactoryTakesEveryField) {
  const SensorPtr sensor =
      Sensor::instanceWithKey("1", "Left", "Left Fan", 2160, 2000, 6200, SensorTypeFan,
                              SensorGroupFan, SensorPlatformM2Ultra, SensorSourceHID, true);
  EXPECT_EQ(sensor->key, "1");
  EXPECT_EQ(sensor->name, "Left");
  EXPECT_EQ(sensor->fullName, "Left Fan");
  EXPECT_EQ(sensor->value, 2160);
  EXPECT_EQ(sensor->minLimitValue, 2000);
  EXPECT_EQ(sensor->maxLimitValue, 6200);
  EXPECT_EQ(sensor->type, 1U);
  EXPECT_EQ(sensor->group, 11U);
  EXPECT_EQ(sensor->platform, 256U);
  EXPECT_EQ(sensor->sourceType, 1U);
  EXPECT_TRUE(sensor->average);
}

void expectCatalogueEntry(const Sensor& sensor, std::uint64_t sourceType, bool average) {
  EXPECT_EQ(sensor.key, "TC%C");
  EXPECT_EQ(sensor.name, "CPU Core %");
  EXPECT_EQ(sensor.fullName, "CPU Core %");
  EXPECT_EQ(sensor.value, 0);
  EXPECT_EQ(sensor.minLimitValue, 0);
  EXPECT_EQ(sensor.maxLimitValue, 0);
  EXPECT_EQ(sensor.type, 2U);
  EXPECT_EQ(sensor.group, 1U);
  EXPECT_EQ(sensor.platform, 30U);
  EXPECT_EQ(sensor.sourceType, sourceType);
  EXPECT_EQ(sensor.average, average);
}

TEST(Sensor, TheShortFactoriesMakeCatalogueEntriesWithoutValues) {
  expectCatalogueEntry(*Sensor::instanceWithKey("TC%C", "CPU Core %", 2, 1, 30), 0, false);
  expectCatalogueEntry(*Sensor::instanceWithKey("TC%C", "CPU Core %", 2, 1, 30, true), 0, true);
  expectCatalogueEntry(*Sensor::instanceWithKey("TC%C", "CPU Core %", 2, 1, 30, false), 0, false);
  expectCatalogueEntry(*Sensor::hidSensorWithKey("TC%C", "CPU Core %", 2, 1, 30, true), 1, true);
  expectCatalogueEntry(*Sensor::hidSensorWithKey("TC%C", "CPU Core %", 2, 1, 30, false), 1, false);
}

TEST(Sensor, EachCallMakesARecordOfItsOwn) {
  const SensorPtr first = Sensor::instanceWithKey("TC0P", "CPU Proximity", 0, 1, 511);
  const SensorPtr second = Sensor::instanceWithKey("TC0P", "CPU Proximity", 0, 1, 511);
  first->name = "Other";
  EXPECT_NE(first, second);
  EXPECT_EQ(first->fullName, "CPU Proximity");
  EXPECT_EQ(second->name, "CPU Proximity");
}

// Stored data and other programs hold these numbers.
TEST(Sensor, TheCodesNeverChange) {
  EXPECT_EQ(SensorTypeTemperature, 0U);
  EXPECT_EQ(SensorTypeFan, 1U);
  EXPECT_EQ(SensorTypeVoltage, 2U);
  EXPECT_EQ(SensorTypeCurrent, 3U);
  EXPECT_EQ(SensorTypePower, 4U);
  EXPECT_EQ(SensorGroupNone, 0U);
  EXPECT_EQ(SensorGroupCPU, 1U);
  EXPECT_EQ(SensorGroupGPU, 2U);
  EXPECT_EQ(SensorGroupMemory, 3U);
  EXPECT_EQ(SensorGroupMainboard, 4U);
  EXPECT_EQ(SensorGroupAirflow, 5U);
  EXPECT_EQ(SensorGroupStorage, 6U);
  EXPECT_EQ(SensorGroupDriveBay, 7U);
  EXPECT_EQ(SensorGroupBattery, 8U);
  EXPECT_EQ(SensorGroupPowerSupply, 9U);
  EXPECT_EQ(SensorGroupDisplay, 10U);
  EXPECT_EQ(SensorGroupFan, 11U);
  EXPECT_EQ(SensorPlatformIntel, 1U);
  EXPECT_EQ(SensorPlatformM1, 2U);
  EXPECT_EQ(SensorPlatformM1Pro, 4U);
  EXPECT_EQ(SensorPlatformM1Max, 8U);
  EXPECT_EQ(SensorPlatformM1Ultra, 16U);
  EXPECT_EQ(SensorPlatformM2, 32U);
  EXPECT_EQ(SensorPlatformM2Pro, 64U);
  EXPECT_EQ(SensorPlatformM2Max, 128U);
  EXPECT_EQ(SensorPlatformM2Ultra, 256U);
  EXPECT_EQ(SensorSourceSMC, 0U);
  EXPECT_EQ(SensorSourceHID, 1U);
  EXPECT_EQ(SensorSourceComputed, 2U);
  static_assert(std::is_same_v<decltype(Sensor::type), std::uint64_t> &&
                std::is_same_v<decltype(Sensor::group), std::uint64_t> &&
                std::is_same_v<decltype(Sensor::platform), std::uint64_t> &&
                std::is_same_v<decltype(Sensor::sourceType), std::uint64_t>);
}

}  // namespace
}  // namespace kelvora
