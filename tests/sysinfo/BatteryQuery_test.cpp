#include "sysinfo/BatteryQuery.h"

#include <gtest/gtest.h>

#include "KelvoraCore/Sensor.h"

#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora {
namespace {

using testing::entry;

ZDBatteryInfo batteryOf(std::vector<platform::RecordedRegistryEntry> services,
                        std::uint64_t family) {
  platform::RecordedMachine machine;
  machine.registry.emplace();
  for (auto& service : services) {
    machine.registry->emplace_back("AppleSmartBattery", std::move(service));
  }
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryBattery(platform->registry(), family);
}

const PropertyListValue::Dictionary kBattery = {{"CycleCount", 97},
                                                {"MaxCapacity", 100},
                                                {"AppleRawMaxCapacity", 4382},
                                                {"DesignCapacity", 5000}};

TEST(BatteryQuery, TheMaximumOfAnIntelMacIsMaxCapacityElseTheRawOne) {
  EXPECT_EQ(batteryOf({entry("b", kBattery)}, SensorPlatformIntel).maxCapacity, 100);
  EXPECT_EQ(batteryOf({entry("b", kBattery)}, SensorPlatformM1).maxCapacity, 4382);
  EXPECT_EQ(batteryOf({entry("b", kBattery)}, 0).maxCapacity, 4382);
}

TEST(BatteryQuery, OnlyTheFirstBatteryCounts) {
  const auto battery = batteryOf({entry("b", kBattery), entry("c", {{"CycleCount", 1}})}, 1);
  EXPECT_EQ(battery.cycleCount, 97);
  EXPECT_EQ(battery.designedCapacity, 5000);
}

TEST(BatteryQuery, MissingPropertiesAreZeroAndOthersConvert) {
  const auto battery = batteryOf(
      {entry("b", {{"CycleCount", "12 cycles"}, {"MaxCapacity", testing::data("abcd")}})}, 1);
  EXPECT_EQ(battery.cycleCount, 12);
  EXPECT_EQ(battery.maxCapacity, 0);
  EXPECT_EQ(battery.designedCapacity, 0);
}

TEST(BatteryQuery, AnAbsentDesignedCapacityIsZeroWhateverTheMaximumIs) {
  const auto battery = batteryOf({entry("b", {{"MaxCapacity", 4382}})}, 1);
  EXPECT_EQ(battery.maxCapacity, 4382);
  EXPECT_EQ(battery.designedCapacity, 0);
  EXPECT_EQ(battery.health(), 0);
}

TEST(BatteryQuery, AMacWithoutBatteryOrRegistryHasZeros) {
  EXPECT_EQ(batteryOf({}, 1).cycleCount, 0);
  const auto platform = testing::recordedPlatform({});
  EXPECT_EQ(queryBattery(platform->registry(), 1).maxCapacity, 0);
  EXPECT_EQ(queryBattery(platform->registry(), 1).health(), 0);
}

}  // namespace
}  // namespace kelvora
