// What a reading allocates.

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

#include "platforms/recorded/RecordedSMC.h"
#include "ports/Ports.h"
#include "tests/sensors/SmallMacs.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

// Sensors with names of the catalogue, with numbers in them and without any.
std::unique_ptr<platform::SMCUserClient> smcOf(int unknownKeys) {
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
  return std::make_unique<platform::RecordedSMC>(mac(std::move(keys)).smcKeys);
}

struct Reading {
  std::size_t sensors;
  std::size_t allocations;
};

// The third: the first enumerates, the second may still grow what it uses again.
Reading laterReading(SensorController& controller) {
  controller.getAllSensors();
  controller.getAllSensors();
  const std::size_t before = allocations();
  const SensorList sensors = controller.getAllSensors();
  return {sensors.size(), allocations() - before};
}

TEST(ReadingMemory, ALaterReadingAllocatesAHandfulOfListsHoweverManySensors) {
  Platform& platform = installRecordedPlatform(platform::RecordedMachine{});
  std::vector<Reading> readings;
  for (const int unknownKeys : {0, 800}) {
    platform.ports().smc = smcOf(unknownKeys);
    SensorController controller(platform);
    readings.push_back(laterReading(controller));
  }
  ASSERT_GT(readings[0].sensors, 100U);
  ASSERT_GT(readings[1].sensors, readings[0].sensors + 700);
  EXPECT_GT(readings[0].allocations, 0U) << "nothing is counted";
  EXPECT_LE(readings[0].allocations, 50U);
  EXPECT_EQ(readings[1].allocations, readings[0].allocations);
}

}  // namespace
}  // namespace kelvora::testing
