#include "sensors/Catalogue.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/SensorController.h"

namespace kelvora {
namespace {

std::map<std::string, int> countKeys(const SensorList& sensors) {
  std::map<std::string, int> counts;
  for (const SensorPtr& sensor : sensors) {
    ++counts[sensor->key];
  }
  return counts;
}

SensorList withPlatform(std::uint64_t platform) {
  SensorList sensors = SensorController::getDefaultSMCSensors();
  std::erase_if(sensors,
                [platform](const SensorPtr& sensor) { return sensor->platform != platform; });
  return sensors;
}

// source|key|name|type|group|platform, and |averaged, as the sensors were listed for the product.
std::vector<std::string> listedSensors() {
  std::ifstream file(KELVORA_TEST_DATA "/sensors/catalogue.txt");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string line(const Sensor& sensor) {
  const std::string source = sensor.sourceType == SensorSourceHID ? "HID" : "SMC";
  return source + '|' + sensor.key + '|' + sensor.name + '|' + std::to_string(sensor.type) + '|' +
         std::to_string(sensor.group) + '|' + std::to_string(sensor.platform) +
         (sensor.average ? "|averaged" : "");
}

TEST(Catalogue, HoldsThe212ListedSensorsInTheirOrder) {
  std::vector<std::string> lines;
  for (const SensorPtr& sensor : SensorController::getDefaultSMCSensors()) {
    lines.push_back(line(*sensor));
  }
  for (const SensorPtr& sensor : SensorController::getDefaultHIDSensors()) {
    lines.push_back(line(*sensor));
  }
  const std::vector<std::string> listed = listedSensors();
  ASSERT_EQ(listed.size(), 212U);
  ASSERT_EQ(lines.size(), listed.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i], listed[i]) << "entry " << i;
  }
}

TEST(Catalogue, HasAllItsEntriesFromFirstToLast) {
  const SensorList smc = SensorController::getDefaultSMCSensors();
  ASSERT_EQ(smc.size(), 201U);
  EXPECT_EQ(smc.front()->key, "TC0P");
  EXPECT_EQ(smc.front()->name, "CPU Proximity");
  EXPECT_EQ(smc.back()->key, "PDTR");
  EXPECT_EQ(smc.back()->name, "DC In Total");
  EXPECT_EQ(smc.back()->type, SensorTypePower);
  EXPECT_EQ(smc.back()->group, SensorGroupPowerSupply);
  const SensorList hid = SensorController::getDefaultHIDSensors();
  ASSERT_EQ(hid.size(), 11U);
  EXPECT_EQ(hid.front()->key, "pACC MTR Temp Sensor%");
  EXPECT_EQ(hid.front()->name, "CPU Performance Core %");
  EXPECT_EQ(hid.back()->key, "PMU tdie%");
  EXPECT_EQ(hid.back()->name, "Power Management Unit Die %");
}

TEST(Catalogue, EveryEntryIsOfItsSource) {
  for (const SensorPtr& sensor : SensorController::getDefaultSMCSensors()) {
    EXPECT_EQ(sensor->sourceType, SensorSourceSMC) << sensor->key;
    EXPECT_EQ(sensor->key.size(), 4U) << sensor->key;
  }
  for (const SensorPtr& sensor : SensorController::getDefaultHIDSensors()) {
    EXPECT_EQ(sensor->sourceType, SensorSourceHID) << sensor->key;
    EXPECT_EQ(sensor->type, SensorTypeTemperature) << sensor->key;
    EXPECT_EQ(sensor->platform, 511U) << sensor->key;
  }
}

TEST(Catalogue, EveryEntryHasItsNameAsFullNameAndNoValue) {
  SensorList all = SensorController::getDefaultSMCSensors();
  const SensorList hid = SensorController::getDefaultHIDSensors();
  all.insert(all.end(), hid.begin(), hid.end());
  for (const SensorPtr& sensor : all) {
    EXPECT_FALSE(sensor->name.empty()) << sensor->key;
    EXPECT_EQ(sensor->fullName, sensor->name);
    EXPECT_EQ(sensor->value, 0) << sensor->key;
    EXPECT_EQ(sensor->minLimitValue, 0) << sensor->key;
    EXPECT_EQ(sensor->maxLimitValue, 0) << sensor->key;
    EXPECT_FALSE(sensor->isValidValue()) << sensor->key;
  }
}

// The families of Apple silicon use these keys for different cores, Intel one for its power supply.
TEST(Catalogue, OnlyTheKeysOfSeveralFamiliesAppearTwice) {
  std::set<std::string> twice;
  for (const auto& [key, count] : countKeys(SensorController::getDefaultSMCSensors())) {
    EXPECT_LE(count, 2) << key;
    if (count == 2) {
      twice.insert(key);
    }
  }
  EXPECT_THAT(twice, ::testing::ElementsAre("Tp01", "Tp05", "Tp09", "Tp0D", "Tp0P"));
  for (const auto& [key, count] : countKeys(SensorController::getDefaultHIDSensors())) {
    EXPECT_EQ(count, 1) << key;
  }
}

TEST(Catalogue, NoFamilyFindsAKeyTwice) {
  for (std::uint64_t family = SensorPlatformIntel; family <= SensorPlatformM2Ultra; family *= 2) {
    SensorList sensors = SensorController::getDefaultSMCSensors();
    std::erase_if(sensors, [family](const SensorPtr& sensor) {
      return !appliesToFamily(sensor->platform, family);
    });
    for (const auto& [key, count] : countKeys(sensors)) {
      EXPECT_EQ(count, 1) << key << " on " << family;
    }
  }
}

TEST(Catalogue, KeysThatDifferOnlyInCaseAreDistinct) {
  const auto counts = countKeys(SensorController::getDefaultSMCSensors());
  for (const char* key : {"TC%C", "TC%c", "TCXC", "TCXc", "TCSC", "TCSc", "TCGC", "TCGc", "TH%A",
                          "TH%a", "TH0P", "Th0H", "Tp0C", "TP0D"}) {
    EXPECT_EQ(counts.count(key), 1U) << key;
  }
}

TEST(Catalogue, EveryMaskIsOneOfTheFiveInUse) {
  EXPECT_EQ(withPlatform(511).size(), 170U);
  EXPECT_EQ(withPlatform(510).size(), 3U);
  EXPECT_EQ(withPlatform(30).size(), 14U);
  EXPECT_EQ(withPlatform(32).size(), 10U);
  EXPECT_EQ(withPlatform(1).size(), 4U);
}

TEST(Catalogue, TheAveragedSensorsAreTheCoresOfProcessorsAndGraphics) {
  std::map<std::uint64_t, int> perGroup;
  for (const SensorPtr& sensor : SensorController::getDefaultSMCSensors()) {
    if (!sensor->average) {
      continue;
    }
    EXPECT_EQ(sensor->type, SensorTypeTemperature) << sensor->key;
    ++perGroup[sensor->group];
  }
  EXPECT_THAT(perGroup, ::testing::ElementsAre(::testing::Pair(SensorGroupCPU, 20),
                                               ::testing::Pair(SensorGroupGPU, 6)));
  std::vector<std::string> hid;
  for (const SensorPtr& sensor : SensorController::getDefaultHIDSensors()) {
    if (sensor->average) {
      hid.push_back(sensor->name);
    }
  }
  EXPECT_THAT(
      hid, ::testing::ElementsAre("CPU Performance Core %", "CPU Efficiency Core %", "GPU Core %"));
}

// Typing errors that no other check sees: patterns without a number to show, or the reverse.
TEST(Catalogue, APatternHasANameWithANumber) {
  for (const auto* blocks : {&smcCatalogue(), &hidCatalogue()}) {
    for (const CatalogueBlock& block : *blocks) {
      EXPECT_FALSE(block.entries.empty());
      for (const auto& [key, name] : block.entries) {
        EXPECT_EQ(std::count(key.begin(), key.end(), '%'),
                  std::count(name.begin(), name.end(), '%'))
            << key;
      }
    }
  }
}

TEST(Catalogue, TheFirstLetterOfAnSMCKeyDeterminesItsType) {
  const std::map<char, std::uint64_t> types = {{'T', SensorTypeTemperature},
                                               {'V', SensorTypeVoltage},
                                               {'I', SensorTypeCurrent},
                                               {'P', SensorTypePower}};
  for (const SensorPtr& sensor : SensorController::getDefaultSMCSensors()) {
    EXPECT_EQ(sensor->type, types.at(sensor->key[0])) << sensor->key;
  }
}

TEST(Catalogue, ADiskIsNumberedBeforeAnS) {
  const SensorList hid = SensorController::getDefaultHIDSensors();
  const auto disk = std::find_if(hid.begin(), hid.end(), [](const SensorPtr& sensor) {
    return sensor->key == "NAND CH% temp";
  });
  ASSERT_NE(disk, hid.end());
  EXPECT_EQ((*disk)->name, "Disk %s");
}

TEST(Catalogue, EachCallGivesAListOfItsOwn) {
  const SensorList first = SensorController::getDefaultSMCSensors();
  const SensorList second = SensorController::getDefaultSMCSensors();
  ASSERT_EQ(first.size(), second.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    EXPECT_NE(first[i], second[i]);
    EXPECT_EQ(first[i]->key, second[i]->key);
    EXPECT_EQ(first[i]->name, second[i]->name);
    EXPECT_EQ(first[i]->group, second[i]->group);
    EXPECT_EQ(first[i]->platform, second[i]->platform);
    EXPECT_EQ(first[i]->average, second[i]->average);
  }
  first[0]->name = "Other";
  EXPECT_EQ(second[0]->name, "CPU Proximity");
  SensorController::getDefaultHIDSensors()[0]->name = "Other";
  EXPECT_EQ(SensorController::getDefaultHIDSensors()[0]->name, "CPU Performance Core %");
}

TEST(Catalogue, AMachineOfUnknownFamilyAcceptsEveryMask) {
  for (const std::uint64_t mask : {1U, 30U, 32U, 510U, 511U, 0U}) {
    EXPECT_TRUE(appliesToFamily(mask, 0)) << mask;
  }
}

TEST(Catalogue, AMachineOfAKnownFamilyAcceptsTheMasksThatHoldIt) {
  EXPECT_TRUE(appliesToFamily(511, SensorPlatformIntel));
  EXPECT_TRUE(appliesToFamily(1, SensorPlatformIntel));
  EXPECT_FALSE(appliesToFamily(510, SensorPlatformIntel));
  EXPECT_TRUE(appliesToFamily(30, SensorPlatformM1Max));
  EXPECT_FALSE(appliesToFamily(30, SensorPlatformM2));
  EXPECT_TRUE(appliesToFamily(32, SensorPlatformM2));
  EXPECT_FALSE(appliesToFamily(32, SensorPlatformM2Pro));
}

}  // namespace
}  // namespace kelvora
