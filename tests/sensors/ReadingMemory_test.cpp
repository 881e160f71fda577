// What a reading allocates.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

#include "platform/Platform.h"
#include "platform/recorded/RecordedSMC.h"
#include "tests/support/CountedAllocations.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

platform::RecordedSMCKey smcKey(const std::string& key, const std::string& type,
                                std::vector<std::byte> bytes) {
  const auto packed = [](const std::string& text) {
    std::uint32_t code = 0;
    for (const char character : text) code = code << 8 | static_cast<unsigned char>(character);
    return code;
  };
  platform::RecordedSMCKey result;
  result.key = packed(key);
  result.type = packed(type);
  result.bytes = std::move(bytes);
  return result;
}

// Sensors with names of the catalogue, with numbers in them and without any.
std::unique_ptr<platform::SMCUserClient> smcOf(int unknownKeys) {
  std::vector<platform::RecordedSMCKey> keys;
  const auto addTemperature = [&keys](const std::string& key) {
    keys.push_back(smcKey(key, "sp78", {std::byte{0x28}, std::byte{0}}));
  };
  for (const SensorPtr& known : SensorController::getDefaultSMCSensors()) {
    if (known->type != SensorTypeTemperature) continue;
    std::string key = known->key;
    if (const std::size_t percent = key.find('%'); percent != std::string::npos) key[percent] = '3';
    addTemperature(key);
  }
  for (int i = 0; i < unknownKeys; ++i) addTemperature("T" + std::to_string(100 + i));
  const std::size_t count = keys.size() + 1;
  keys.push_back(
      smcKey("#KEY", "ui16", {static_cast<std::byte>(count / 256), static_cast<std::byte>(count)}));
  return std::make_unique<platform::RecordedSMC>(std::move(keys));
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
  platform::Platform& platform = installRecordedPlatform(platform::RecordedMachine{});
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
