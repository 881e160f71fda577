#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

#include "ports/Ports.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SensorLists.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using platform::RecordedMachine;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

TEST(SensorController, OneFanIsNotTheFastestFan) {
  Platform& platform = installRecordedPlatform(machineWithKeys(fanKeys(1, 0x20)));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()), ElementsAre(Pair("0", "FanA")));
}

TEST(SensorController, OfTwoStoppedFansTheFirstIsTheFastest) {
  Platform& platform = installRecordedPlatform(machineWithKeys(fanKeys(2, 0)));
  const SensorList sensors = SensorController(platform).getAllSensors();
  ASSERT_THAT(names(sensors),
              ElementsAre(Pair("0", "FanA"), Pair("1", "FanB"), Pair("FastestFan", "Fastest Fan")));
  EXPECT_EQ(sensors[2]->value, 0);
  EXPECT_EQ(sensors[2]->minLimitValue, sensors[0]->minLimitValue);
  EXPECT_EQ(sensors[2]->maxLimitValue, sensors[0]->maxLimitValue);
  EXPECT_NE(sensors[2]->maxLimitValue, sensors[1]->maxLimitValue);
}

TEST(SensorController, SortsByGroupWithUnknownSensorsLast) {
  std::vector<platform::RecordedSMCKey> keys = fanKeys(2, 0x20);
  for (const char* key : {"TQQQ", "TL0P", "TB0T", "TC1C", "TM0P", "TC0C", "TAAA"}) {
    keys.push_back(temperature(key, 40));
  }
  Platform& platform = installRecordedPlatform(machineWithKeys(std::move(keys)));
  const SensorList sensors = SensorController(platform).getAllSensors();
  EXPECT_THAT(
      names(sensors),
      ElementsAre(Pair("TC0C", "CPU Core 1"), Pair("TC1C", "CPU Core 2"),
                  Pair("AverageCPU", "Average CPU"), Pair("HottestCPU", "Hottest CPU"),
                  Pair("TM0P", "Memory Bank A1"), Pair("TB0T", "Battery Max"),
                  Pair("TL0P", "LCD Proximity"), Pair("0", "FanA"), Pair("1", "FanB"),
                  Pair("FastestFan", "Fastest Fan"), Pair("TQQQ", "TQQQ"), Pair("TAAA", "TAAA")));
}

TEST(SensorController, WithoutAveragedSensorsThereIsNoAverageAndNoHottest) {
  Platform& platform =
      installRecordedPlatform(machineWithKeys({temperature("TC0P", 40), temperature("TG0D", 40)}));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()),
              ElementsAre(Pair("TC0P", "CPU Proximity"), Pair("TG0D", "GPU Die Analog")));
}

TEST(SensorController, ImplausibleValuesNeverEnterAReading) {
  Platform& platform = installRecordedPlatform(
      machineWithKeys({temperature("TC0P", 0), temperature("TC0C", 127), temperature("TQQQ", 111),
                       smcKey("VQQQ", "sp78", {0, 0}), smcKey("IQQQ", "sp78", {0xff, 0x80}),
                       smcKey("PQQQ", "sp78", {0, 0}), temperature("TC1C", 40)}));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()),
              ElementsAre(Pair("TC1C", "CPU Core 1"), Pair("AverageCPU", "Average CPU"),
                          Pair("HottestCPU", "Hottest CPU")));
}

TEST(SensorController, NotANumberPassesButMakesNoAverage) {
  Platform& platform = installRecordedPlatform(
      machineWithKeys({smcKey("TC0C", "flt ", {0, 0, 0xc0, 0x7f}), temperature("TC1C", 50)}));
  const SensorList sensors = SensorController(platform).getAllSensors();
  EXPECT_THAT(names(sensors), ElementsAre(Pair("TC0C", "CPU Core 1"), Pair("TC1C", "CPU Core 2"),
                                          Pair("HottestCPU", "Hottest CPU")));
  EXPECT_TRUE(std::isnan(sensors[0]->value));
}

TEST(SensorController, EachReadingIsMadeOfNewRecordsThatTheCallerOwns) {
  Platform& platform = installRecordedPlatform(machineWithKeys({temperature("TC0P", 40)}));
  SensorController controller(platform);
  SensorList first = controller.getAllSensors();
  const SensorList second = controller.getAllSensors();
  EXPECT_NE(first[0], second[0]);
  const std::weak_ptr<Sensor> kept = first[0];
  first.clear();
  EXPECT_TRUE(kept.expired());
}

TEST(SensorController, WithoutAnSMCAReadingIsEmpty) {
  RecordedMachine machine = machineWithKeys({});
  machine.smcKeys = std::nullopt;
  Platform& platform = installRecordedPlatform(std::move(machine));
  EXPECT_THAT(SensorController(platform).getAllSensors(), IsEmpty());
}

TEST(SensorController, SurvivesAnSMCThatClaims255Fans) {
  Platform& platform = installRecordedPlatform(
      machineWithKeys({smcKey("FNum", "ui8 ", {255}), temperature("TC0P", 40)}));
  const SensorList sensors = SensorController(platform).getAllSensors();
  EXPECT_THAT(names(sensors), Contains(Pair("TC0P", "CPU Proximity")));
  EXPECT_THAT(names(sensors), Contains(Pair("19", "Fan 20")));
  EXPECT_THAT(names(sensors), Not(Contains(Pair("20", "Fan 21"))));
}

TEST(SensorController, ReadsEachKeyOfASmallSMCWithOneCallAfterTheFirstReading) {
  std::vector<platform::RecordedSMCKey> keys = fanKeys(1, 0x20);
  for (const char* key : {"TC0P", "TB0T", "MSAc"}) {
    keys.push_back(temperature(key, 40));
  }
  keys.push_back(smcKey("VBAT", "sp78", {0x0c, 0}));
  Platform& platform = installRecordedPlatform(machineWithKeys(std::move(keys)));
  ForwardingSMC& smc = ForwardingSMC::wrap(platform);
  SensorController controller(platform);
  EXPECT_EQ(smc.count(), 0);

  // FNum, F0ID (asked for twice), F0Ac, F0Mn, F0Mx and #KEY: information once, and the bytes.
  // Then ten keys by index, four of them new, and the three sensors.
  ASSERT_EQ(controller.getAllSensors().size(), 4U);
  EXPECT_EQ(smc.count(8), 10);
  EXPECT_EQ(smc.count(9), 6 + 4);
  EXPECT_EQ(smc.count(5), 7 + 10 + 3);

  smc.forgetCalls();
  ASSERT_EQ(controller.getAllSensors().size(), 4U);
  std::vector<std::uint32_t> read;
  for (const SMCCallRecord& call : smc.calls()) {
    EXPECT_EQ(call.command, 5);
    read.push_back(call.key);
  }
  const auto key = SMCPackedKey;
  EXPECT_THAT(read, ElementsAre(key("FNum"), key("F0ID"), key("F0ID"), key("F0Ac"), key("F0Mn"),
                                key("F0Mx"), key("TC0P"), key("TB0T"), key("VBAT")));
}

TEST(SensorController, ReadsKeysBeyondTheHundredthWithTwoCalls) {
  constexpr int kSensors = 150;
  constexpr int kKeys = kSensors + 2;
  constexpr int kCachedSensors = 98;  // FNum and #KEY take two of the hundred places
  std::vector<platform::RecordedSMCKey> keys = {smcKey("FNum", "ui8 ", {0})};
  for (int i = 0; i < kSensors; ++i) {
    keys.push_back(temperature("T" + std::to_string(100 + i), 40));
  }
  Platform& platform = installRecordedPlatform(machineWithKeys(std::move(keys)));
  ForwardingSMC& smc = ForwardingSMC::wrap(platform);
  SensorController controller(platform);

  ASSERT_EQ(controller.getAllSensors().size(), 150U);
  EXPECT_EQ(smc.count(8), kKeys);
  EXPECT_EQ(smc.count(9), 2 + kSensors + (kSensors - kCachedSensors));
  EXPECT_EQ(smc.count(5), 2 + kKeys + kSensors);

  smc.forgetCalls();
  ASSERT_EQ(controller.getAllSensors().size(), 150U);
  EXPECT_EQ(smc.count(8), 0);
  EXPECT_EQ(smc.count(9), kSensors - kCachedSensors);
  EXPECT_EQ(smc.count(5), 1 + kSensors);
}

}  // namespace
}  // namespace kelvora::testing
