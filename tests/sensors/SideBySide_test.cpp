// Several machines in one process: each controller reads its own.

#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/SensorController.h"

#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SensorLists.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

using Lines = std::vector<std::string>;

std::string line(const std::string& key, const std::string& name, double value) {
  return key + " " + name + " " + std::to_string(value);
}

Lines lines(const SensorList& sensors) {
  Lines result;
  for (const SensorPtr& sensor : sensors) {
    result.push_back(line(sensor->key, sensor->name, sensor->value));
  }
  return result;
}

// The sensors of a machine's expected report.
Lines expected(const std::string& machine) {
  std::ifstream file(std::string(KELVORA_TEST_DATA) + "/machines/" + machine + ".sensors.json");
  const auto report = nlohmann::json::parse(file);
  Lines result;
  for (const auto& sensor : report.at("sensors")) {
    result.push_back(line(sensor.at("key"), sensor.at("name"), sensor.at("value")));
  }
  EXPECT_GT(result.size(), 20U) << machine;
  return result;
}

// A recorded Mac that is not the current platform, with a controller.
struct Machine {
  explicit Machine(const char* name)
      : reading(expected(name)), platform(recordedPlatform(recordedMachine(name))) {}

  Lines reading;
  std::unique_ptr<Platform> platform;
  SensorController controller{*platform};
};

TEST(SideBySide, EachControllerReadsItsOwnMachineInTurns) {
  installRecordedPlatform("MacBookPro15,1");
  SensorController ofProcess;
  Machine mini("Macmini9,1");
  Machine iMac("iMac19,1");
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(lines(mini.controller.getAllSensors()), mini.reading);
    EXPECT_EQ(lines(iMac.controller.getAllSensors()), iMac.reading);
    EXPECT_EQ(lines(ofProcess.getAllSensors()), expected("MacBookPro15,1"));
  }
}

TEST(SideBySide, EachControllerReadsItsOwnMachineFromItsOwnThread) {
  Machine mini("Macmini8,1");
  Machine iMac("iMac19,1");
  const auto readManyTimes = [](Machine& machine) {
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ(lines(machine.controller.getAllSensors()), machine.reading);
    }
  };
  std::thread first([&] { readManyTimes(mini); });
  std::thread second([&] { readManyTimes(iMac); });
  first.join();
  second.join();
}

TEST(SideBySide, AControllersEndLeavesTheOtherItsConnection) {
  Machine iMac("iMac19,1");
  {
    Machine mini("Macmini8,1");
    mini.controller.getAllSensors();
  }
  EXPECT_EQ(lines(iMac.controller.getAllSensors()), iMac.reading);
}

TEST(SideBySide, AControllerOfAnotherMachineLeavesTheCurrentOneAlone) {
  ForwardingSMC& current =
      ForwardingSMC::wrap(installRecordedPlatform(machineWithKeys({temperature("TC0P", 40)})));
  const auto other = recordedPlatform(machineWithKeys({temperature("TB0T", 30)}));
  SensorController controller(*other);
  EXPECT_THAT(names(controller.getAllSensors()), ElementsAre(Pair("TB0T", "Battery Max")));
  EXPECT_EQ(controller.getSensorValueByKey("TB0T", SensorTypeTemperature, SensorSourceSMC, {}), 30);
  EXPECT_EQ(current.count(), 0);
  EXPECT_EQ(current.openConnections(), 0);
}

}  // namespace
}  // namespace kelvora::testing
