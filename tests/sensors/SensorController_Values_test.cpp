#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

#include "ports/Ports.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

TEST(SensorController, LooksUpSMCValuesByKeyAndFansByIndex) {
  std::vector<platform::RecordedSMCKey> keys = fanKeys(2, 0x20);
  keys.push_back(temperature("TC0P", 41));
  Platform& platform = installRecordedPlatform(machineWithKeys(std::move(keys)));
  SensorController controller(platform);
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", SensorTypeTemperature, SensorSourceSMC, {}), 41);
  EXPECT_EQ(controller.getSensorValueByKey("1", SensorTypeFan, SensorSourceSMC, {}), 2048);
  // The SMC reports size 0 for a key that it does not have, which is the value 0.
  EXPECT_EQ(controller.getSensorValueByKey("TQQQ", SensorTypeTemperature, SensorSourceSMC, {}), 0);
}

TEST(SensorController, LooksUpHIDValuesByProduct) {
  auto machine = machineWithKeys({}, "Apple M1");
  machine.hid = {hidTemperature("gas gauge battery", 30.5)};
  Platform& platform = installRecordedPlatform(std::move(machine));
  SensorController controller(platform);
  const auto value = [&](const char* key, std::uint64_t type) {
    return controller.getSensorValueByKey(key, type, SensorSourceHID, {});
  };
  EXPECT_EQ(value("gas gauge battery", SensorTypeTemperature), 30.5);
  EXPECT_EQ(value("Gas gauge battery", SensorTypeTemperature), 0);
  EXPECT_EQ(value("gas gauge battery", SensorTypeVoltage), 0);
  EXPECT_EQ(value("gas gauge battery", SensorTypePower), 0);
}

TEST(SensorController, OnIntelAHIDValueIsZero) {
  auto machine = machineWithKeys({});
  machine.hid = {hidTemperature("gas gauge battery", 30.5)};
  Platform& platform = installRecordedPlatform(std::move(machine));
  SensorController controller(platform);
  EXPECT_EQ(controller.getSensorValueByKey("gas gauge battery", 0, SensorSourceHID, {}), 0);
}

TEST(SensorController, TakesComputedValuesFromTheListThatItIsGiven) {
  Platform& platform = installRecordedPlatform(machineWithKeys({}));
  ForwardingSMC& smc = ForwardingSMC::wrap(platform);
  SensorController controller(platform);
  const auto sensor = [](std::uint64_t type, std::uint64_t group, double value) {
    return Sensor::instanceWithKey("K", "N", "N", value, 0, 110, type, group, 511, 0, true);
  };
  const SensorList list = {sensor(0, 1, 40), sensor(0, 1, 60), sensor(0, 2, 70),
                           sensor(1, 11, 900)};
  const auto value = [&](const char* key, std::uint64_t type) {
    return controller.getSensorValueByKey(key, type, SensorSourceComputed, list);
  };
  EXPECT_EQ(value("AverageCPU", SensorTypeTemperature), 50);
  EXPECT_EQ(value("HottestCPU", SensorTypeTemperature), 60);
  EXPECT_EQ(value("AverageGPU", SensorTypeTemperature), 70);
  EXPECT_EQ(value("HottestGPU", SensorTypeTemperature), 70);
  EXPECT_EQ(value("FastestFan", SensorTypeFan), 900);
  EXPECT_EQ(value("TC0P", SensorTypeTemperature), 0);
  EXPECT_EQ(value("AverageCPU", SensorTypeVoltage), 0);
  EXPECT_EQ(controller.getSensorValueByKey("AverageCPU", 0, SensorSourceComputed, {}), -1);
  EXPECT_EQ(controller.buildComputedSensorsInSensors(list).size(), 4U);
  EXPECT_EQ(smc.count(), 0);
}

TEST(SensorController, AValueOfAnUnknownSourceIsZero) {
  Platform& platform = installRecordedPlatform(machineWithKeys({temperature("TC0P", 41)}));
  SensorController controller(platform);
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", 0, 3, {}), 0);
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", 0, UINT64_MAX, {}), 0);
}

TEST(SensorController, NamesTheTypesButNotFans) {
  Platform& platform = installRecordedPlatform(machineWithKeys({}));
  const SensorController controller(platform);
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeTemperature), "Temperature");
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeFan), std::nullopt);
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeVoltage), "Voltage");
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeCurrent), "Current");
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypePower), "Power");
  EXPECT_EQ(controller.sensorTypeStringFromType(5), std::nullopt);
  EXPECT_EQ(controller.sensorTypeStringFromType(UINT64_MAX), std::nullopt);
}

}  // namespace
}  // namespace kelvora::testing
