// What a reading allocates, and what a host keeps with one record of it.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

#include "tests/support/CountedAllocations.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SensorLists.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

// Sensors with names of the catalogue, with numbers in them and without any.
std::unique_ptr<Platform> macOf(int unknownKeys) {
  std::vector<platform::RecordedSMCKey> keys;
  for (const SensorPtr& known : SensorController::getDefaultSMCSensors()) {
    if (known->type != SensorTypeTemperature) {
      continue;
    }
    std::string key = known->key;
    if (const std::size_t percent = key.find('%'); percent != std::string::npos) {
      key[percent] = '3';
    }
    keys.push_back(temperature(key, 40));
  }
  for (int i = 0; i < unknownKeys; ++i) {
    keys.push_back(temperature("T" + std::to_string(100 + i), 40));
  }
  return recordedPlatform(machineWithKeys(std::move(keys)));
}

struct Reading {
  std::size_t sensors;
  std::size_t allocations;
};

// The second: the first enumerates the keys.
Reading laterReading(Platform& platform) {
  SensorController controller(platform);
  controller.getAllSensors();
  const std::size_t before = allocations();
  const SensorList sensors = controller.getAllSensors();
  return {sensors.size(), allocations() - before};
}

TEST(ReadingMemory, AFurtherSensorCostsOneAllocation) {
  constexpr int kFurther = 800;
  const Reading few = laterReading(*macOf(0));
  const Reading many = laterReading(*macOf(kFurther));
  ASSERT_GT(few.sensors, 100U);
  ASSERT_EQ(many.sensors, few.sensors + kFurther);
  EXPECT_GE(few.allocations, few.sensors) << "nothing is counted";
  EXPECT_GE(many.allocations, few.allocations + kFurther);
  EXPECT_LE(many.allocations, few.allocations + kFurther + 32) << "lists that grow";
}

TEST(ReadingMemory, ARecordThatAHostKeepsKeepsNoOther) {
  const auto platform = macOf(10);
  SensorController controller(*platform);
  SensorList reading = controller.getAllSensors();
  const SensorPtr kept = reading[reading.size() / 2];
  std::vector<std::weak_ptr<Sensor>> all(reading.begin(), reading.end());
  reading.clear();
  const auto alive = std::ranges::count_if(all, [](const auto& each) { return !each.expired(); });
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(kept.use_count(), 1);
}

}  // namespace
}  // namespace kelvora::testing
