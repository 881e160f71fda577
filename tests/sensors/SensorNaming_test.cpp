#include "sensors/SensorNaming.h"

#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/Sensor.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

SensorPtr entry(const std::string& key, const std::string& name,
                std::uint64_t group = SensorGroupCPU, bool average = false) {
  return Sensor::instanceWithKey(key, name, SensorTypeTemperature, group, 511, average);
}

SensorPtr rawSensor(const std::string& key, double value = 41.5) {
  return Sensor::instanceWithKey(key, key, key, value, 0, 110, SensorTypeTemperature,
                                 SensorGroupNone, 511, SensorSourceSMC, false);
}

// Key and name of each sensor, in order.
std::vector<std::pair<std::string, std::string>> names(const SensorList& sensors) {
  std::vector<std::pair<std::string, std::string>> result;
  for (const SensorPtr& sensor : sensors) {
    result.emplace_back(sensor->key, sensor->name);
  }
  return result;
}

TEST(SensorNaming, AnExactEntryGivesItsNamesGroupAndFlag) {
  SensorPtr known = entry("TC0P", "CPU Proximity", SensorGroupCPU, true);
  known->fullName = "Full";
  const SensorPtr sensor = rawSensor("TC0P");
  const SensorList reading = SensorNaming({known}).name({sensor});
  ASSERT_THAT(reading, ElementsAre(sensor));
  EXPECT_EQ(sensor->name, "CPU Proximity");
  EXPECT_EQ(sensor->fullName, "Full");
  EXPECT_EQ(sensor->group, SensorGroupCPU);
  EXPECT_TRUE(sensor->average);
  EXPECT_EQ(sensor->value, 41.5);
  EXPECT_EQ(sensor->maxLimitValue, 110);
}

TEST(SensorNaming, NamedSensorsComeInTheOrderOfTheCatalogue) {
  const SensorNaming naming({entry("A", "First"), entry("B%", "Numbered %"), entry("C", "Third")});
  EXPECT_THAT(names(naming.name({rawSensor("X"), rawSensor("C"), rawSensor("B7"), rawSensor("A"),
                                 rawSensor("B2"), rawSensor("W")})),
              ElementsAre(Pair("A", "First"), Pair("C", "Third"), Pair("B2", "Numbered 1"),
                          Pair("B7", "Numbered 2"), Pair("X", "X"), Pair("W", "W")));
}

TEST(SensorNaming, APatternMatchesTheIndices0To63Only) {
  const SensorNaming naming({entry("TC%C", "CPU Core %")});
  for (int index = 0; index < 64; ++index) {
    const SensorList reading = naming.name({rawSensor("TC" + std::to_string(index) + "C")});
    EXPECT_EQ(reading.at(0)->name, "CPU Core 1") << index;
  }
  for (const char* key : {"TC64C", "TCAC", "TC00C", "TCC", "TC-1C", "TC1Cx", "tc1c", "TC%c"}) {
    EXPECT_THAT(names(naming.name({rawSensor(key)})), ElementsAre(Pair(key, key)));
  }
}

TEST(SensorNaming, GapsInTheIndicesAreClosedInTheNumbers) {
  const SensorNaming naming({entry("TC%C", "CPU Core %", SensorGroupCPU, true)});
  const SensorList reading =
      naming.name({rawSensor("TC5C"), rawSensor("TC0C"), rawSensor("TC64C"), rawSensor("TC2C")});
  EXPECT_THAT(names(reading), ElementsAre(Pair("TC0C", "CPU Core 1"), Pair("TC2C", "CPU Core 2"),
                                          Pair("TC5C", "CPU Core 3"), Pair("TC64C", "TC64C")));
  EXPECT_EQ(reading[2]->fullName, "CPU Core 3");
  EXPECT_EQ(reading[2]->group, SensorGroupCPU);
  EXPECT_TRUE(reading[2]->average);
  EXPECT_EQ(reading[3]->group, SensorGroupNone);
}

TEST(SensorNaming, AfterAPatternTheFullNameIsTheName) {
  SensorPtr pattern = entry("TC%C", "CPU Core %");
  pattern->fullName = "Processor Core %";
  EXPECT_EQ(SensorNaming({pattern}).name({rawSensor("TC3C")}).at(0)->fullName, "CPU Core 1");
}

TEST(SensorNaming, EachPatternNumbersItsOwnSensors) {
  const SensorNaming naming({entry("TC%C", "CPU Core %"), entry("TC%c", "CPU core %")});
  EXPECT_THAT(names(naming.name({rawSensor("TC1c"), rawSensor("TC1C"), rawSensor("TC2c")})),
              ElementsAre(Pair("TC1C", "CPU Core 1"), Pair("TC1c", "CPU core 1"),
                          Pair("TC2c", "CPU core 2")));
}

TEST(SensorNaming, AnImplausibleSensorIsDroppedAndTakesNoNumber) {
  const SensorNaming naming({entry("TC0P", "CPU Proximity"), entry("TC%C", "CPU Core %")});
  EXPECT_THAT(names(naming.name({rawSensor("TC0P", 0), rawSensor("TC0C", 110.5), rawSensor("TC1C"),
                                 rawSensor("TXXX", -3), rawSensor("TC0P", 50)})),
              ElementsAre(Pair("TC0P", "CPU Proximity"), Pair("TC1C", "CPU Core 1")));
}

TEST(SensorNaming, NotANumberIsNamedLikeAnyValue) {
  const SensorNaming naming({entry("TC0P", "CPU Proximity")});
  EXPECT_THAT(names(naming.name({rawSensor("TC0P", std::numeric_limits<double>::quiet_NaN())})),
              ElementsAre(Pair("TC0P", "CPU Proximity")));
}

TEST(SensorNaming, APatternLeavesAnExactlyNamedSensorAlone) {
  const SensorNaming naming({entry("TC%C", "CPU Core %"), entry("TC1C", "CPU Special")});
  EXPECT_THAT(names(naming.name({rawSensor("TC0C"), rawSensor("TC1C"), rawSensor("TC2C")})),
              ElementsAre(Pair("TC1C", "CPU Special"), Pair("TC0C", "CPU Core 1"),
                          Pair("TC2C", "CPU Core 2")));
}

TEST(SensorNaming, TwoEntriesWithOneKeyListTheSameRecordTwiceUnderTheLaterName) {
  const SensorNaming naming({entry("Tp05", "Performance", SensorGroupCPU, true),
                             entry("TB0T", "Battery"),
                             entry("Tp05", "Efficiency", SensorGroupGPU)});
  const SensorPtr sensor = rawSensor("Tp05");
  const SensorList reading = naming.name({sensor, rawSensor("TB0T")});
  ASSERT_EQ(reading.size(), 3U);
  EXPECT_EQ(reading[0], sensor);
  EXPECT_EQ(reading[2], sensor);
  EXPECT_EQ(sensor->name, "Efficiency");
  EXPECT_EQ(sensor->fullName, "Efficiency");
  EXPECT_EQ(sensor->group, SensorGroupGPU);
  EXPECT_FALSE(sensor->average);
}

TEST(SensorNaming, OfSensorsWithOneKeyTheFirstIsTakenByAnEntryAndAllByAPattern) {
  const SensorPtr first = rawSensor("TC0C", 41);
  const SensorPtr second = rawSensor("TC0C", 42);
  const SensorPtr third = rawSensor("TC0C", 43);
  const SensorList exact = SensorNaming({entry("TC0C", "Core")}).name({first, second, third});
  EXPECT_THAT(exact, ElementsAre(first, second, third));
  EXPECT_THAT(names(exact),
              ElementsAre(Pair("TC0C", "Core"), Pair("TC0C", "TC0C"), Pair("TC0C", "TC0C")));
  const SensorList byPattern =
      SensorNaming({entry("TC%C", "Core %"), entry("TC0C", "Core")}).name({first, second, third});
  EXPECT_THAT(byPattern, ElementsAre(first, second, third));
  EXPECT_THAT(names(byPattern),
              ElementsAre(Pair("TC0C", "Core"), Pair("TC0C", "Core 1"), Pair("TC0C", "Core 2")));
}

TEST(SensorNaming, APatternIsAlsoAnExactKey) {
  const SensorNaming naming({entry("TC%C", "CPU Core %")});
  EXPECT_THAT(names(naming.name({rawSensor("TC1C"), rawSensor("TC%C")})),
              ElementsAre(Pair("TC%C", "CPU Core %"), Pair("TC1C", "CPU Core 1")));
}

TEST(SensorNaming, EveryPercentSignOfKeyAndNameIsReplaced) {
  const SensorNaming naming({entry("T%-%", "Core % of %"), entry("NAND CH% temp", "Disk %s")});
  EXPECT_THAT(names(naming.name({rawSensor("NAND CH0 temp"), rawSensor("T12-12"), rawSensor("T1-2"),
                                 rawSensor("T3-3")})),
              ElementsAre(Pair("T3-3", "Core 1 of 1"), Pair("T12-12", "Core 2 of 2"),
                          Pair("NAND CH0 temp", "Disk 1s"), Pair("T1-2", "T1-2")));
}

TEST(SensorNaming, OfTwoPatternsThatFitTheFirstWins) {
  const SensorNaming naming({entry("T%1", "First %"), entry("T1%", "Second %")});
  EXPECT_THAT(names(naming.name({rawSensor("T11"), rawSensor("T12")})),
              ElementsAre(Pair("T11", "First 1"), Pair("T12", "Second 1")));
}

TEST(SensorNaming, APatternCountsBeyond64WhenKeysAreListedTwice) {
  SensorList raw;
  for (int index = 0; index < 64; ++index) {
    for (int copy = 0; copy < 2; ++copy) {
      raw.push_back(rawSensor("T" + std::to_string(index)));
    }
  }
  const SensorList reading = SensorNaming({entry("T%", "Core %")}).name(raw);
  ASSERT_EQ(reading.size(), 128U);
  EXPECT_EQ(reading.back()->name, "Core 128");
}

TEST(SensorNaming, WithoutCatalogueOrSensorsThereIsNothingToName) {
  EXPECT_TRUE(SensorNaming({entry("TC%C", "CPU Core %")}).name({}).empty());
  EXPECT_THAT(names(SensorNaming({}).name({rawSensor("TC0P")})), ElementsAre(Pair("TC0P", "TC0P")));
}

TEST(SensorNaming, ThreadsNameTheirReadingsAtTheSameTime) {
  const SensorNaming naming({entry("TC0P", "CPU Proximity"), entry("TC%C", "CPU Core %")});
  const auto nameManyTimes = [&naming](int core) {
    for (int i = 0; i < 200; ++i) {
      const SensorPtr sensor = rawSensor("TC" + std::to_string(core) + "C");
      const SensorList reading = naming.name({rawSensor("TC0P"), sensor});
      EXPECT_THAT(names(reading),
                  ElementsAre(Pair("TC0P", "CPU Proximity"), Pair(sensor->key, "CPU Core 1")));
    }
  };
  std::vector<std::thread> threads;
  for (int core = 0; core < 4; ++core) {
    threads.emplace_back(nameManyTimes, core);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace kelvora
