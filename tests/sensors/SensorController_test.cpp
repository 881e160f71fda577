#include "KelvoraCore/SensorController.h"

#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ports/Ports.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SensorLists.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(SensorController, OnIntelKeepsWhatIntelHasAndReadsNoHID) {
  auto machine =
      machineWithKeys({temperature("Tp0P", 40), temperature("Tp05", 41), temperature("TH0x", 42)});
  machine.hid = {hidTemperature("PMU tdie1", 30)};
  Platform& platform = installRecordedPlatform(std::move(machine));
  auto& hid = testing::wrapPort<ForwardingHIDEventSystem>(platform.ports().hid);
  SensorController controller(platform);
  EXPECT_EQ(controller.hid(), nullptr);
  EXPECT_EQ(controller.defaultSMCSensors().size(), 174U);
  for (const SensorPtr& sensor : controller.defaultSMCSensors()) {
    EXPECT_TRUE(sensor->platform == 511 || sensor->platform == 1) << sensor->key;
  }
  EXPECT_EQ(controller.defaultHIDSensors().size(), 11U);
  EXPECT_THAT(names(controller.getAllSensors()),
              ElementsAre(Pair("Tp0P", "Powerboard Proximity"), Pair("Tp05", "Tp05"),
                          Pair("TH0x", "TH0x")));
  EXPECT_EQ(hid.createdClients, 0);
}

TEST(SensorController, OnAnM1KeepsWhatTheM1HasAndReadsHIDAfterTheSMC) {
  auto machine = machineWithKeys(
      {temperature("Tp05", 41), temperature("Tp0P", 40), temperature("TQQQ", 43)}, "Apple M1");
  machine.hid = {hidTemperature("PMU tdie7", 30), hidTemperature("Unknown die", 31),
                 hidTemperature("pACC MTR Temp Sensor4", 55)};
  Platform& platform = installRecordedPlatform(std::move(machine));
  SensorController controller(platform);
  EXPECT_NE(controller.hid(), nullptr);
  EXPECT_EQ(controller.defaultSMCSensors().size(), 187U);
  for (const SensorPtr& sensor : controller.defaultSMCSensors()) {
    EXPECT_TRUE(sensor->platform == 511 || sensor->platform == 510 || sensor->platform == 30)
        << sensor->key;
  }
  const SensorList sensors = controller.getAllSensors();
  EXPECT_THAT(
      names(sensors),
      ElementsAre(Pair("Tp05", "CPU Performance Core 2"), Pair("Tp0P", "CPU Performance Core 6"),
                  Pair("pACC MTR Temp Sensor4", "CPU Performance Core 1"),
                  Pair("AverageCPU", "Average CPU"), Pair("HottestCPU", "Hottest CPU"),
                  Pair("PMU tdie7", "Power Management Unit Die 1"), Pair("TQQQ", "TQQQ"),
                  Pair("Unknown die", "Unknown die")));
  EXPECT_DOUBLE_EQ(find(sensors, "AverageCPU")->value, (41.0 + 40.0 + 55.0) / 3);
  EXPECT_EQ(find(sensors, "HottestCPU")->value, 55);
  EXPECT_EQ(find(sensors, "Unknown die")->sourceType, SensorSourceHID);
}

TEST(SensorController, HIDProductsAreNamedAfterTheSMCKeysOfTheirGroup) {
  auto machine = machineWithKeys({temperature("TB1T", 31), temperature("TH1A", 33)}, "Apple M1");
  machine.hid = {hidTemperature("NAND CH0 temp", 32), hidTemperature("gas gauge battery", 30)};
  Platform& platform = installRecordedPlatform(std::move(machine));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()),
              ElementsAre(Pair("TH1A", "SSD 1 (A)"), Pair("NAND CH0 temp", "Disk 1s"),
                          Pair("TB1T", "Battery 1"), Pair("gas gauge battery", "Battery")));
}

TEST(SensorController, OnAnM2TheSameKeysAreOtherCores) {
  Platform& platform = installRecordedPlatform(
      machineWithKeys({temperature("Tp05", 41), temperature("Tp01", 40)}, "Apple M2"));
  SensorController controller(platform);
  EXPECT_EQ(controller.defaultSMCSensors().size(), 183U);
  const SensorList sensors = controller.getAllSensors();
  EXPECT_EQ(find(sensors, "Tp05")->name, "CPU Efficiency Core 1");
  EXPECT_EQ(find(sensors, "Tp01")->name, "CPU Performance Core 1");
}

TEST(SensorController, OnAnUnknownFamilyTheWholeCatalogueAppliesAndARecordCanBeListedTwice) {
  Platform& platform = installRecordedPlatform(
      machineWithKeys({temperature("Tp05", 60), temperature("Tp0T", 30)}, "Apple X9"));
  SensorController controller(platform);
  EXPECT_EQ(controller.defaultSMCSensors().size(), 201U);
  const SensorList sensors = controller.getAllSensors();
  EXPECT_THAT(
      names(sensors),
      ElementsAre(Pair("Tp0T", "CPU Efficiency Core 2"), Pair("Tp05", "CPU Efficiency Core 1"),
                  Pair("Tp05", "CPU Efficiency Core 1"), Pair("AverageCPU", "Average CPU"),
                  Pair("HottestCPU", "Hottest CPU")));
  EXPECT_EQ(sensors[1], sensors[2]);
  EXPECT_EQ(sensors[3]->value, 50);
}

TEST(SensorController, WithoutADedicatedGPUThePlaceholderVanishes) {
  Platform& platform = installRecordedPlatform(machineWithKeys({temperature("TG0P", 40)}));
  SensorController controller(platform);
  EXPECT_EQ(controller.dedicatedGPUName(), std::nullopt);
  EXPECT_EQ(controller.dedicatedGPUShortName(), std::nullopt);
  const SensorList sensors = controller.getAllSensors();
  EXPECT_EQ(find(sensors, "TG0P")->name, "GPU Proximity");
  EXPECT_EQ(find(sensors, "TG0P")->fullName, "GPU Proximity");
  for (const SensorPtr& sensor : controller.defaultSMCSensors()) {
    EXPECT_EQ(sensor->name.find("{GPU}"), std::string::npos) << sensor->key;
    EXPECT_EQ(sensor->fullName.find("{GPU}"), std::string::npos) << sensor->key;
  }
}

TEST(SensorController, TheNamesContainTheDedicatedGPU) {
  Platform& platform = installRecordedPlatform("MacBookPro15,1");
  const ZDSystemDevice device(platform);
  SensorController controller(platform, device);
  const std::string name = controller.dedicatedGPUName().value();
  const std::string shortName = controller.dedicatedGPUShortName().value();
  EXPECT_EQ(name, "AMD Radeon Pro 560X");
  EXPECT_EQ(shortName, "AMD");
  std::vector<std::string> fullNames;
  for (const SensorPtr& sensor : controller.defaultSMCSensors()) {
    if (sensor->name.find(shortName) != std::string::npos) {
      fullNames.push_back(sensor->fullName);
    }
  }
  EXPECT_THAT(fullNames, ElementsAre("GPU " + name + " Proximity",
                                     "GPU " + name + " Memory Proximity", "GPU " + name + " PECI"));
}

TEST(SensorController, LoadingTheCatalogueAgainForgetsChangesToIt) {
  Platform& platform = installRecordedPlatform(machineWithKeys({temperature("TC0P", 40)}));
  SensorController controller(platform);
  controller.defaultSMCSensors().front()->name = "Changed";
  EXPECT_EQ(controller.getAllSensors().front()->name, "Changed");
  controller.loadDefaultSensors();
  EXPECT_EQ(controller.getAllSensors().front()->name, "CPU Proximity");
  EXPECT_EQ(controller.defaultSMCSensors().size(), 174U);
  EXPECT_EQ(controller.defaultHIDSensors().size(), 11U);
}

TEST(SensorController, TheArchitectureDecidesWhetherHIDIsReadWhateverTheFamily) {
  auto unknownFamily = machineWithKeys({temperature("TC0P", 40)}, "VirtualApple @ 2.50GHz");
  unknownFamily.architecture = Architecture::kAppleSilicon;
  unknownFamily.hid = {hidTemperature("PMU tdie1", 30)};
  const auto virtualMac = recordedPlatform(unknownFamily);
  SensorController controller(*virtualMac);
  EXPECT_NE(controller.hid(), nullptr);
  EXPECT_NE(find(controller.getAllSensors(), "PMU tdie1"), nullptr);

  auto intelBuild = machineWithKeys({temperature("TC0P", 40)}, "Apple M1");
  intelBuild.architecture = Architecture::kIntel;
  intelBuild.hid = {hidTemperature("PMU tdie1", 30)};
  const auto translated = recordedPlatform(intelBuild);
  SensorController intelController(*translated);
  EXPECT_EQ(intelController.hid(), nullptr);
  EXPECT_EQ(find(intelController.getAllSensors(), "PMU tdie1"), nullptr);
}

TEST(SensorController, OnIntelAsksTheRegistryForGraphicsAndNothingElse) {
  const auto platform = recordedPlatform(recordedMachine("MacBookPro15,1"));
  auto& registry = wrapPort<ForwardingIORegistry>(platform->ports().registry);
  auto& children = wrapPort<ForwardingChildProcesses>(platform->ports().childProcesses);
  const SensorController controller(*platform);
  EXPECT_EQ(controller.dedicatedGPUName(), "AMD Radeon Pro 560X");
  EXPECT_THAT(registry.classes, ElementsAre("IOPCIDevice"));
  EXPECT_TRUE(children.requests.empty());
}

TEST(SensorController, OnAppleSiliconRunsTheSystemProfilerForGraphicsOnly) {
  const auto platform = recordedPlatform(recordedMachine("Macmini9,1"));
  auto& children = wrapPort<ForwardingChildProcesses>(platform->ports().childProcesses);
  const SensorController controller(*platform);
  ASSERT_EQ(children.requests.size(), 1U);
  EXPECT_THAT(children.requests[0].arguments, ElementsAre("SPDisplaysDataType", "-json"));
}

TEST(SensorController, TakesFamilyAndGraphicsFromTheInventoryThatItIsGiven) {
  const auto intel = recordedPlatform(recordedMachine("MacBookPro15,1"));
  const ZDSystemDevice device(*intel);
  const auto other = recordedPlatform(machineWithKeys({temperature("TG0P", 40)}, "Apple M1"));
  SensorController controller(*other, device);
  EXPECT_EQ(controller.defaultSMCSensors().size(), 174U);
  EXPECT_EQ(find(controller.getAllSensors(), "TG0P")->name, "GPU AMD Proximity");
}

TEST(SensorController, ThreadsShareOneController) {
  installRecordedPlatform(machineWithKeys({temperature("TC0P", 40)}));
  SensorController* seen[2] = {};
  std::thread first([&] { seen[0] = &SensorController::shared(); });
  std::thread second([&] { seen[1] = &SensorController::shared(); });
  first.join();
  second.join();
  EXPECT_NE(seen[0], nullptr);
  EXPECT_EQ(seen[0], seen[1]);
  EXPECT_EQ(&SensorController::shared(), seen[0]);
  EXPECT_EQ(SensorController::shared().getAllSensors().size(), 1U);
}

}  // namespace
}  // namespace kelvora::testing
