#include "KelvoraCore/SensorController.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SMCKeys.h"

namespace kelvora {
namespace {

using platform::Architecture;
using platform::RecordedMachine;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;
using testing::smcKey;

platform::RecordedSMCKey temperature(std::string_view key, int degrees) {
  return smcKey(key, "sp78", {degrees, 0});
}

// A Mac with these SMC keys and the count of them. `brand` names the processor.
RecordedMachine mac(std::vector<platform::RecordedSMCKey> keys,
                    std::string_view brand = "Intel(R) Core(TM) i7-8850H CPU @ 2.60GHz") {
  RecordedMachine machine;
  machine.title = "Test Mac";
  const bool isApple = brand.starts_with("Apple");
  machine.architecture = isApple ? Architecture::kAppleSilicon : Architecture::kIntel;
  const auto bytes = std::as_bytes(std::span(brand));
  std::vector<std::byte>& text = machine.sysctl["machdep.cpu.brand_string"];
  text.assign(bytes.begin(), bytes.end());
  text.push_back(std::byte{0});
  const std::size_t count = keys.size() + 1;
  keys.insert(
      keys.begin(),
      smcKey("#KEY", "ui32", {0, 0, static_cast<int>(count / 256), static_cast<int>(count % 256)}));
  machine.smcKeys = std::move(keys);
  return machine;
}

platform::RecordedHIDService hidTemperature(const std::string& product, double degrees) {
  return {65280, 5, product, {{15, degrees}}};
}

std::vector<std::pair<std::string, std::string>> names(const SensorList& sensors) {
  std::vector<std::pair<std::string, std::string>> result;
  for (const SensorPtr& sensor : sensors) result.emplace_back(sensor->key, sensor->name);
  return result;
}

const Sensor* find(const SensorList& sensors, const std::string& key) {
  const auto found = std::find_if(sensors.begin(), sensors.end(),
                                  [&](const SensorPtr& sensor) { return sensor->key == key; });
  return found == sensors.end() ? nullptr : found->get();
}

// Centres that keep what is posted to the distributed one.
class PostedNotifications : public platform::NotificationCentres {
 public:
  struct Post {
    platform::Notification notification;
    bool deliverImmediately;
  };
  platform::NotificationCentre& distributed() override { return distributed_; }
  platform::NotificationCentre& inProcess() override { return inProcess_; }
  bool reachesOtherProcesses() const override { return false; }
  const std::vector<Post>& distributedPosts() const { return distributed_.posts; }
  const std::vector<Post>& inProcessPosts() const { return inProcess_.posts; }

  static PostedNotifications& install(platform::Platform& platform) {
    auto made = std::make_unique<PostedNotifications>();
    PostedNotifications& result = *made;
    platform.ports().notificationCentres = std::move(made);
    return result;
  }

 private:
  struct Centre : platform::NotificationCentre {
    platform::ObserverToken addObserver(
        const std::string&, platform::SuspensionBehavior,
        std::function<void(const platform::Notification&)>) override {
      return 1;
    }
    void removeObserver(platform::ObserverToken) override {}
    void post(const platform::Notification& notification, bool deliverImmediately) override {
      posts.push_back({notification, deliverImmediately});
    }
    std::vector<Post> posts;
  };
  Centre distributed_;
  Centre inProcess_;
};

// --- What belongs to the machine -------------------------------------------------------------

TEST(SensorController, OnIntelKeepsWhatIntelHasAndReadsNoHID) {
  auto machine = mac({temperature("Tp0P", 40), temperature("Tp05", 41), temperature("TH0x", 42)});
  machine.hid = {hidTemperature("PMU tdie1", 30)};
  platform::Platform& platform = testing::installRecordedPlatform(std::move(machine));
  auto& hid = testing::wrapPort<testing::ForwardingHIDEventSystem>(platform.ports().hid);
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
  auto machine =
      mac({temperature("Tp05", 41), temperature("Tp0P", 40), temperature("TQQQ", 43)}, "Apple M1");
  machine.hid = {hidTemperature("PMU tdie7", 30), hidTemperature("Unknown die", 31),
                 hidTemperature("pACC MTR Temp Sensor4", 55)};
  platform::Platform& platform = testing::installRecordedPlatform(std::move(machine));
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
  auto machine = mac({temperature("TB1T", 31), temperature("TH1A", 33)}, "Apple M1");
  machine.hid = {hidTemperature("NAND CH0 temp", 32), hidTemperature("gas gauge battery", 30)};
  platform::Platform& platform = testing::installRecordedPlatform(std::move(machine));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()),
              ElementsAre(Pair("TH1A", "SSD 1 (A)"), Pair("NAND CH0 temp", "Disk 1s"),
                          Pair("TB1T", "Battery 1"), Pair("gas gauge battery", "Battery")));
}

TEST(SensorController, OnAnM2TheSameKeysAreOtherCores) {
  platform::Platform& platform = testing::installRecordedPlatform(
      mac({temperature("Tp05", 41), temperature("Tp01", 40)}, "Apple M2"));
  SensorController controller(platform);
  EXPECT_EQ(controller.defaultSMCSensors().size(), 183U);
  const SensorList sensors = controller.getAllSensors();
  EXPECT_EQ(find(sensors, "Tp05")->name, "CPU Efficiency Core 1");
  EXPECT_EQ(find(sensors, "Tp01")->name, "CPU Performance Core 1");
}

TEST(SensorController, OnAnUnknownFamilyTheWholeCatalogueAppliesAndARecordCanStandTwice) {
  platform::Platform& platform = testing::installRecordedPlatform(
      mac({temperature("Tp05", 60), temperature("Tp0T", 30)}, "Apple X9"));
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
  platform::Platform& platform = testing::installRecordedPlatform(mac({temperature("TG0P", 40)}));
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

TEST(SensorController, TheDedicatedGPUStandsInTheNames) {
  platform::Platform& platform = testing::installRecordedPlatform("MacBookPro15,1");
  const ZDSystemDevice device(platform);
  SensorController controller(platform, device);
  const std::string name = controller.dedicatedGPUName().value();
  const std::string shortName = controller.dedicatedGPUShortName().value();
  EXPECT_EQ(name, "AMD Radeon Pro 560X");
  EXPECT_EQ(shortName, "AMD");
  std::vector<std::string> fullNames;
  for (const SensorPtr& sensor : controller.defaultSMCSensors()) {
    if (sensor->name.find(shortName) != std::string::npos) fullNames.push_back(sensor->fullName);
  }
  EXPECT_THAT(fullNames, ElementsAre("GPU " + name + " Proximity",
                                     "GPU " + name + " Memory Proximity", "GPU " + name + " PECI"));
}

TEST(SensorController, LoadingTheCatalogueAgainForgetsChangesToIt) {
  platform::Platform& platform = testing::installRecordedPlatform(mac({temperature("TC0P", 40)}));
  SensorController controller(platform);
  controller.defaultSMCSensors().front()->name = "Changed";
  EXPECT_EQ(controller.getAllSensors().front()->name, "Changed");
  controller.loadDefaultSensors();
  EXPECT_EQ(controller.getAllSensors().front()->name, "CPU Proximity");
  EXPECT_EQ(controller.defaultSMCSensors().size(), 174U);
}

TEST(SensorController, ThreadsShareOneController) {
  testing::installRecordedPlatform(mac({temperature("TC0P", 40)}));
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

// --- One reading -----------------------------------------------------------------------------

std::vector<platform::RecordedSMCKey> fanKeys(int count, int speedByte) {
  std::vector<platform::RecordedSMCKey> keys = {smcKey("FNum", "ui8 ", {count})};
  for (int fan = 0; fan < count; ++fan) {
    const std::string prefix = "F" + std::to_string(fan);
    keys.push_back(smcKey(prefix + "ID", "{fds", {'F', 'a', 'n', 'A' + fan}));
    keys.push_back(smcKey(prefix + "Ac", "fpe2", {speedByte, 0}));
    keys.push_back(smcKey(prefix + "Mn", "fpe2", {0x10 + fan, 0}));
    keys.push_back(smcKey(prefix + "Mx", "fpe2", {0x50 + fan, 0}));
  }
  return keys;
}

TEST(SensorController, OneFanIsNotTheFastestFan) {
  platform::Platform& platform = testing::installRecordedPlatform(mac(fanKeys(1, 0x20)));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()), ElementsAre(Pair("0", "FanA")));
}

TEST(SensorController, OfTwoStoppedFansTheFirstIsTheFastest) {
  platform::Platform& platform = testing::installRecordedPlatform(mac(fanKeys(2, 0)));
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
  platform::Platform& platform = testing::installRecordedPlatform(mac(std::move(keys)));
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
  platform::Platform& platform =
      testing::installRecordedPlatform(mac({temperature("TC0P", 40), temperature("TG0D", 40)}));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()),
              ElementsAre(Pair("TC0P", "CPU Proximity"), Pair("TG0D", "GPU Die Analog")));
}

TEST(SensorController, ImplausibleValuesNeverEnterAReading) {
  platform::Platform& platform = testing::installRecordedPlatform(
      mac({temperature("TC0P", 0), temperature("TC0C", 127), temperature("TQQQ", 111),
           smcKey("VQQQ", "sp78", {0, 0}), smcKey("IQQQ", "sp78", {0xff, 0x80}),
           smcKey("PQQQ", "sp78", {0, 0}), temperature("TC1C", 40)}));
  EXPECT_THAT(names(SensorController(platform).getAllSensors()),
              ElementsAre(Pair("TC1C", "CPU Core 1"), Pair("AverageCPU", "Average CPU"),
                          Pair("HottestCPU", "Hottest CPU")));
}

TEST(SensorController, NotANumberPassesButMakesNoAverage) {
  platform::Platform& platform = testing::installRecordedPlatform(
      mac({smcKey("TC0C", "flt ", {0, 0, 0xc0, 0x7f}), temperature("TC1C", 50)}));
  const SensorList sensors = SensorController(platform).getAllSensors();
  EXPECT_THAT(names(sensors), ElementsAre(Pair("TC0C", "CPU Core 1"), Pair("TC1C", "CPU Core 2"),
                                          Pair("HottestCPU", "Hottest CPU")));
  EXPECT_TRUE(std::isnan(sensors[0]->value));
}

TEST(SensorController, EachReadingIsMadeOfNewRecordsThatTheCallerOwns) {
  platform::Platform& platform = testing::installRecordedPlatform(mac({temperature("TC0P", 40)}));
  SensorController controller(platform);
  SensorList first = controller.getAllSensors();
  const SensorList second = controller.getAllSensors();
  EXPECT_NE(first[0], second[0]);
  const std::weak_ptr<Sensor> kept = first[0];
  first.clear();
  EXPECT_TRUE(kept.expired());
}

TEST(SensorController, WithoutAnSMCAReadingIsEmpty) {
  RecordedMachine machine = mac({});
  machine.smcKeys = std::nullopt;
  platform::Platform& platform = testing::installRecordedPlatform(std::move(machine));
  EXPECT_THAT(SensorController(platform).getAllSensors(), IsEmpty());
}

TEST(SensorController, SurvivesAnSMCThatClaims255Fans) {
  platform::Platform& platform = testing::installRecordedPlatform(
      mac({smcKey("FNum", "ui8 ", {255}), temperature("TC0P", 40)}));
  const SensorList sensors = SensorController(platform).getAllSensors();
  EXPECT_THAT(names(sensors), Contains(Pair("TC0P", "CPU Proximity")));
  EXPECT_THAT(names(sensors), Contains(Pair("19", "Fan 20")));
  EXPECT_THAT(names(sensors), Not(Contains(Pair("20", "Fan 21"))));
}

// --- Calls to the SMC ------------------------------------------------------------------------

TEST(SensorController, ReadsEachKeyOfASmallSMCWithOneCallAfterTheFirstReading) {
  std::vector<platform::RecordedSMCKey> keys = fanKeys(1, 0x20);
  for (const char* key : {"TC0P", "TB0T", "MSAc"}) keys.push_back(temperature(key, 40));
  keys.push_back(smcKey("VBAT", "sp78", {0x0c, 0}));
  platform::Platform& platform = testing::installRecordedPlatform(mac(std::move(keys)));
  testing::ForwardingSMC& smc = testing::ForwardingSMC::wrap(platform);
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
  for (const testing::SMCCallRecord& call : smc.calls()) {
    EXPECT_EQ(call.command, 5);
    read.push_back(call.key);
  }
  const auto key = [](const char(&text)[5]) { return testing::packedKey(text); };
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
  platform::Platform& platform = testing::installRecordedPlatform(mac(std::move(keys)));
  testing::ForwardingSMC& smc = testing::ForwardingSMC::wrap(platform);
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

// --- Single values ---------------------------------------------------------------------------

TEST(SensorController, LooksUpSMCValuesByKeyAndFansByIndex) {
  std::vector<platform::RecordedSMCKey> keys = fanKeys(2, 0x20);
  keys.push_back(temperature("TC0P", 41));
  platform::Platform& platform = testing::installRecordedPlatform(mac(std::move(keys)));
  SensorController controller(platform);
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", SensorTypeTemperature, SensorSourceSMC, {}), 41);
  EXPECT_EQ(controller.getSensorValueByKey("1", SensorTypeFan, SensorSourceSMC, {}), 2048);
  // The SMC tells size 0 for a key that it does not have, which is the value 0.
  EXPECT_EQ(controller.getSensorValueByKey("TQQQ", SensorTypeTemperature, SensorSourceSMC, {}), 0);
}

TEST(SensorController, LooksUpHIDValuesByProduct) {
  auto machine = mac({}, "Apple M1");
  machine.hid = {hidTemperature("gas gauge battery", 30.5)};
  platform::Platform& platform = testing::installRecordedPlatform(std::move(machine));
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
  auto machine = mac({});
  machine.hid = {hidTemperature("gas gauge battery", 30.5)};
  platform::Platform& platform = testing::installRecordedPlatform(std::move(machine));
  SensorController controller(platform);
  EXPECT_EQ(controller.getSensorValueByKey("gas gauge battery", 0, SensorSourceHID, {}), 0);
}

TEST(SensorController, TakesComputedValuesFromTheListThatItIsGiven) {
  platform::Platform& platform = testing::installRecordedPlatform(mac({}));
  testing::ForwardingSMC& smc = testing::ForwardingSMC::wrap(platform);
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
  platform::Platform& platform = testing::installRecordedPlatform(mac({temperature("TC0P", 41)}));
  SensorController controller(platform);
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", 0, 3, {}), 0);
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", 0, UINT64_MAX, {}), 0);
}

TEST(SensorController, NamesTheTypesButNotFans) {
  platform::Platform& platform = testing::installRecordedPlatform(mac({}));
  const SensorController controller(platform);
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeTemperature), "Temperature");
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeFan), std::nullopt);
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeVoltage), "Voltage");
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypeCurrent), "Current");
  EXPECT_EQ(controller.sensorTypeStringFromType(SensorTypePower), "Power");
  EXPECT_EQ(controller.sensorTypeStringFromType(5), std::nullopt);
  EXPECT_EQ(controller.sensorTypeStringFromType(UINT64_MAX), std::nullopt);
}

// --- Failed reads ----------------------------------------------------------------------------

// A Mac whose key TC0P cannot be read once it is known.
class FailingSMC : public ::testing::Test {
 protected:
  void readFailing(SensorController& controller) {
    controller.getAllSensors();
    smc_.setOverride([](const testing::SMCCallRecord& call,
                        std::span<std::byte>) -> std::optional<platform::KernelStatus> {
      if (call.key == testing::packedKey("TC0P")) return platform::kIOReturnError;
      return std::nullopt;
    });
    EXPECT_THAT(names(controller.getAllSensors()), ElementsAre(Pair("TB0T", "Battery Max")));
  }

  platform::Platform& platform_ = testing::installRecordedPlatform(
      mac({smcKey("FNum", "ui8 ", {0}), temperature("TC0P", 40), temperature("TB0T", 30)}));
  testing::ForwardingSMC& smc_ = testing::ForwardingSMC::wrap(platform_);
  PostedNotifications& posted_ = PostedNotifications::install(platform_);
};

TEST_F(FailingSMC, AFailedReadIsPostedFromTheMainQueue) {
  SensorController controller(platform_);
  readFailing(controller);
  EXPECT_THAT(posted_.distributedPosts(), IsEmpty());
  EXPECT_EQ(platform_.mainQueue().runPending(), 1);
  ASSERT_EQ(posted_.distributedPosts().size(), 1U);
  const auto& [notification, deliverImmediately] = posted_.distributedPosts().front();
  EXPECT_EQ(notification.name, "SensorControllerDidFailNotification");
  EXPECT_EQ(notification.object, "SMC read (TC0P) failed");
  EXPECT_EQ(notification.userInfo, std::nullopt);
  EXPECT_TRUE(deliverImmediately);
  EXPECT_THAT(posted_.inProcessPosts(), IsEmpty());
}

TEST_F(FailingSMC, AFailureIsPostedAlsoWhenTheControllerIsGone) {
  {
    SensorController controller(platform_);
    readFailing(controller);
  }
  platform_.mainQueue().runPending();
  EXPECT_EQ(posted_.distributedPosts().size(), 1U);
}

TEST_F(FailingSMC, AFailureOnAnotherThreadIsPostedFromTheMainThread) {
  SensorController controller(platform_);
  platform_.mainQueue().runPending();
  std::thread([&] { readFailing(controller); }).join();
  EXPECT_THAT(posted_.distributedPosts(), IsEmpty());
  platform_.mainQueue().runPending();
  EXPECT_EQ(posted_.distributedPosts().size(), 1U);
}

TEST_F(FailingSMC, ALookUpThatFailsIsZeroAndPosted) {
  SensorController controller(platform_);
  readFailing(controller);
  platform_.mainQueue().runPending();
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", SensorTypeTemperature, SensorSourceSMC, {}), 0);
  platform_.mainQueue().runPending();
  EXPECT_EQ(posted_.distributedPosts().size(), 2U);
}

TEST_F(FailingSMC, EachMessageIsPostedInItsOrder) {
  SensorController controller(platform_);
  controller.smcReadValueFailedWithError("first");
  controller.smcReadValueFailedWithError("second");
  platform_.mainQueue().runPending();
  std::vector<std::string> messages;
  for (const auto& post : posted_.distributedPosts()) {
    messages.push_back(post.notification.object.value());
  }
  EXPECT_THAT(messages, ElementsAre("first", "second"));
}

}  // namespace
}  // namespace kelvora
