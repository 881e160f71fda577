#include "tools/kelvora/WatchModel.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RecordedMachines.h"

namespace kelvora::tool {
namespace {

using kelvora::testing::recordedPlatform;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

SensorPtr sensorOf(const std::string& key, const std::string& name, double value,
                   std::uint64_t type, std::uint64_t group,
                   std::uint64_t source = SensorSourceSMC) {
  const bool isFan = type == SensorTypeFan;
  return Sensor::instanceWithKey(key, name, name, value, isFan ? 1000 : 0, isFan ? 5000 : 0, type,
                                 group, SensorPlatformEvery, source, false);
}

WatchReading someReading() {
  WatchReading reading;
  reading.sensors = {sensorOf("TC0P", "CPU Proximity", 45, SensorTypeTemperature, SensorGroupCPU),
                     sensorOf("TG0P", "GPU Proximity", 95, SensorTypeTemperature, SensorGroupGPU),
                     sensorOf("gas gauge battery", "Battery", 100, SensorTypeTemperature,
                              SensorGroupBattery, SensorSourceHID),
                     sensorOf("AverageCPU", "Average CPU", 40, SensorTypeTemperature,
                              SensorGroupCPU, SensorSourceComputed),
                     sensorOf("0", "Fan 1", 4000, SensorTypeFan, SensorGroupFan),
                     sensorOf("TXyz", "TXyz", 12, SensorTypeTemperature, SensorGroupNone)};
  reading.usage.load = ZDCPUUsage{48, 30, 18, 52, 0};
  return reading;
}

class WatchModelTest : public ::testing::Test {
 protected:
  WatchModelTest() { model_.setReading(someReading()); }

  WatchContent content() {
    return model_.content(settings_, KVLocalized::Texts(settings_, *platform_));
  }
  std::vector<std::string> names() {
    std::vector<std::string> names;
    for (const auto& row : content().sensors) {
      names.push_back(row.name);
    }
    return names;
  }
  const WatchContent::SensorRow* row(const WatchContent& shown, const std::string& name) {
    const auto found = std::ranges::find(shown.sensors, name, &WatchContent::SensorRow::name);
    return found == shown.sensors.end() ? nullptr : &*found;
  }

  std::unique_ptr<Platform> platform_ =
      recordedPlatform(kelvora::testing::recordedMachine("iMac19,1"));
  KVSettings settings_{*platform_};
  WatchModel model_{*platform_};
};

TEST_F(WatchModelTest, FansComeFirstAndEachGroupHasAHeading) {
  EXPECT_THAT(names(), ElementsAre("Fans", "Fan 1", "CPU", "CPU Proximity Temperature",
                                   "Average CPU Temperature", "GPU", "GPU Proximity Temperature"));
}

TEST_F(WatchModelTest, TheDisplaySettingsDecideWhatShowsAndHowManyAreHidden) {
  EXPECT_THAT(content().sensorsTitle, HasSubstr("2 hidden"));
  settings_.setShowUnknownSensors(true);
  settings_.setShowComputedSensors(false);
  EXPECT_THAT(names(), Contains("TXyz Temperature"));
  EXPECT_THAT(names(), ::testing::Not(Contains("Average CPU Temperature")));
  settings_.setShowHIDSensors(true);
  EXPECT_THAT(names(), Contains("Battery Temperature"));
  model_.setShowsAll(true);
  EXPECT_THAT(names(), Contains("Average CPU Temperature"));
  EXPECT_EQ(content().sensorsTitle, "Sensors");
}

TEST_F(WatchModelTest, WhenAllAreHiddenThatIsTheReason) {
  WatchReading reading;
  reading.sensors = {sensorOf("TXyz", "TXyz", 12, SensorTypeTemperature, SensorGroupNone)};
  model_.setReading(reading);
  EXPECT_EQ(content().sensorsNote, "1 hidden by the settings");
}

TEST_F(WatchModelTest, TheFilterFindsNamesAndKeysInAnyCase) {
  model_.setFilter("gPu");
  EXPECT_THAT(names(), ElementsAre("GPU", "GPU Proximity Temperature"));
  model_.setFilter("tc0");
  EXPECT_THAT(names(), ElementsAre("CPU", "CPU Proximity Temperature"));
  EXPECT_THAT(content().sensorsTitle, HasSubstr("filter: tc0"));
  settings_.setCurrentLanguage("de");
  model_.setFilter("LÜFT");
  EXPECT_THAT(names(), ElementsAre("Lüfter", "Lüfter 1"));
  model_.setFilter("no such sensor");
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(content().sensorsNote, "Kein Sensor passt zum Filter.");
}

TEST_F(WatchModelTest, TheFilterFindsTurkishNamesInAnyCaseAndKeysBesideThem) {
  settings_.setCurrentLanguage("tr");
  const std::vector<std::string> found{"CPU", "CPU Proximity sıcaklığı", "Ortalama CPU sıcaklığı",
                                       "GPU", "GPU Proximity sıcaklığı"};
  for (const char* filter : {"sıcaklığı", "SICAKLIĞI", "sIcAkLıĞı"}) {
    model_.setFilter(filter);
    EXPECT_EQ(names(), found) << filter;
  }
  WatchReading reading;
  reading.sensors = {sensorOf("TICI", "TICI", 12, SensorTypeTemperature, SensorGroupCPU)};
  model_.setReading(reading);
  model_.setFilter("tici");
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(WatchModelTest, UnitsAndLanguageFollowTheSettings) {
  EXPECT_EQ(row(content(), "CPU Proximity Temperature")->value, "45°C");
  settings_.setTempUnitCelsius(false);
  settings_.setFanValueType(1);
  EXPECT_EQ(row(content(), "CPU Proximity Temperature")->value, "113°F");
  EXPECT_EQ(row(content(), "Fan 1")->value, "75%");
  settings_.setCurrentLanguage("zh-Hans");
  EXPECT_EQ(content().sensorsTitle.substr(0, std::string("传感器").size()), "传感器");
  EXPECT_EQ(content().titleEnd, " (录制)");
}

TEST_F(WatchModelTest, HotAndFastValuesStandOut) {
  model_.setShowsAll(true);
  const WatchContent shown = content();
  EXPECT_EQ(row(shown, "CPU Proximity Temperature")->tone, Tone::kPlain);
  EXPECT_EQ(row(shown, "GPU Proximity Temperature")->tone, Tone::kWarm);
  EXPECT_EQ(row(shown, "Battery Temperature")->tone, Tone::kHot);
  EXPECT_EQ(row(shown, "Fan 1")->tone, Tone::kWarm);
  EXPECT_EQ(row(shown, "Fan 1")->fraction, 0.75);
}

TEST_F(WatchModelTest, TonesBeginAtTheirLimits) {
  const auto toneOfOnly = [this](const SensorPtr& sensor) {
    WatchReading reading;
    reading.sensors = {sensor};
    model_.setReading(reading);
    return content().sensors.back().tone;
  };
  const auto atCelsius = [&](double value) {
    return toneOfOnly(sensorOf("TC0P", "CPU", value, SensorTypeTemperature, SensorGroupCPU));
  };
  EXPECT_EQ(atCelsius(89.9), Tone::kPlain);
  EXPECT_EQ(atCelsius(90), Tone::kWarm);
  EXPECT_EQ(atCelsius(99.9), Tone::kWarm);
  const auto atSpeed = [&](double rpm) {
    return toneOfOnly(sensorOf("0", "Fan 1", rpm, SensorTypeFan, SensorGroupFan));
  };
  EXPECT_EQ(atSpeed(3999), Tone::kGood);
  EXPECT_EQ(atSpeed(4599), Tone::kWarm);
  EXPECT_EQ(atSpeed(4600), Tone::kHot);
  EXPECT_EQ(toneOfOnly(sensorOf("VC0C", "CPU", 150, SensorTypeVoltage, SensorGroupCPU)),
            Tone::kPlain);
}

TEST_F(WatchModelTest, TheBarOfAFanEndsWithItsRange) {
  WatchReading reading;
  const auto fractionAt = [&](double rpm) {
    reading.sensors = {sensorOf("0", "Fan 1", rpm, SensorTypeFan, SensorGroupFan)};
    model_.setReading(reading);
    return row(content(), "Fan 1")->fraction;
  };
  EXPECT_EQ(fractionAt(0), 0.0);
  EXPECT_EQ(fractionAt(3000), 0.5);
  EXPECT_EQ(fractionAt(9000), 1.0);
  EXPECT_EQ(fractionAt(std::nan("")), std::nullopt);
}

TEST_F(WatchModelTest, UnknownSensorsComeLastAndHeadingsHaveNothingElse) {
  WatchReading reading = someReading();
  std::ranges::rotate(reading.sensors, std::prev(reading.sensors.end()));
  model_.setReading(reading);
  settings_.setShowUnknownSensors(true);
  const WatchContent shown = content();
  EXPECT_EQ(shown.sensors.back().name, "TXyz Temperature");
  EXPECT_TRUE(shown.sensors.front().isHeading);
  EXPECT_EQ(shown.sensors.front().key + shown.sensors.front().value, "");
  EXPECT_FALSE(shown.sensors.back().isHeading);
}

TEST_F(WatchModelTest, AKeyShowsUnlessItIsTheNameOfAComputedSensor) {
  EXPECT_EQ(row(content(), "CPU Proximity Temperature")->key, "TC0P");
  EXPECT_EQ(row(content(), "Average CPU Temperature")->key, "");
}

TEST_F(WatchModelTest, AFanWithoutARangeHasNoBar) {
  WatchReading reading;
  for (const double limit : {0.0, -500.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
    const SensorPtr fan = sensorOf("0", "Fan 1", 4000, SensorTypeFan, SensorGroupFan);
    fan->minLimitValue = 0;
    fan->maxLimitValue = limit;
    reading.sensors = {fan};
    model_.setReading(reading);
    EXPECT_EQ(row(content(), "Fan 1")->fraction, std::nullopt) << limit;
  }
}

TEST_F(WatchModelTest, ARecordingKeepsTheLoadThatItsCountersGaveOnce) {
  WatchReading later = someReading();
  later.usage.load.reset();
  model_.setReading(later);
  EXPECT_EQ(content().meters.front().text, "48.0%");
}

TEST(WatchModel, ALiveComputerKeepsNoLoadOfBefore) {
  const auto recorded = recordedPlatform(platform::RecordedMachine());
  Platform live({.title = "PC", .isLive = true}, std::move(recorded->ports()));
  KVSettings settings(live);
  WatchModel model(live);
  model.setReading(someReading());
  WatchReading later = someReading();
  later.usage.load.reset();
  model.setReading(later);
  EXPECT_EQ(model.content(settings, KVLocalized::Texts(settings, live)).meters.front().text, "–");
}

TEST_F(WatchModelTest, WhatIsNotKnownYetIsBeingRead) {
  WatchModel fresh(*platform_);
  const WatchContent shown = fresh.content(settings_, KVLocalized::Texts(settings_, *platform_));
  EXPECT_EQ(shown.sensorsNote, "Reading…");
  EXPECT_EQ(shown.processesNote, "Reading…");
  EXPECT_THAT(shown.meters, IsEmpty());
}

TEST_F(WatchModelTest, AnEmptyReadingOfARecordingSaysThatNothingCouldBeRead) {
  model_.setReading({});
  EXPECT_EQ(content().sensorsNote, "No sensor could be read.");
}

TEST(WatchModel, AComputerWithoutTheHardwareOfAMacSaysSo) {
  platform::RecordedMachine nothing;
  const auto recorded = recordedPlatform(std::move(nothing));
  Platform live({.title = "PC", .isLive = true}, std::move(recorded->ports()));
  KVSettings settings(live);
  WatchModel model(live);
  model.setReading({});
  const WatchContent shown = model.content(settings, KVLocalized::Texts(settings, live));
  EXPECT_THAT(shown.sensorsNote, HasSubstr("neither an SMC nor HID"));
  EXPECT_EQ(shown.titleEnd, "");
}

TEST_F(WatchModelTest, ProcessesHaveTheNamesOfTheirApplications) {
  model_.setProcesses(std::vector<CPUTopProcess>{{412, "Safari", "Safari Browser", 38.4},
                                                 {7, "bash\x1b[2J", std::nullopt, 250}});
  const WatchContent shown = content();
  ASSERT_EQ(shown.processes.size(), 2U);
  EXPECT_EQ(shown.processesNote, "");
  EXPECT_EQ(shown.processes[0].pid, "412");
  EXPECT_EQ(shown.processes[0].name, "Safari Browser");
  EXPECT_EQ(shown.processes[0].usage, "38.4%");
  EXPECT_EQ(shown.processes[1].name, "bash?[2J");
  model_.setProcesses(std::nullopt);
  EXPECT_EQ(content().processesNote, "No list of processes.");
}

TEST_F(WatchModelTest, TheHelpShowsWhatIsBeingTyped) {
  EXPECT_THAT(content().help, HasSubstr("q quit"));
  model_.setFilter("cpu");
  model_.setTyping(true);
  EXPECT_THAT(content().help, HasSubstr("/cpu_"));
}

WatchContent::Meter meterOf(const UsageSample& usage, const std::string& label) {
  const auto platform = recordedPlatform(kelvora::testing::recordedMachine("iMac19,1"));
  KVSettings settings(*platform);
  for (const auto& meter : usageMeters(usage, KVLocalized::Texts(settings, *platform))) {
    if (meter.label == label) {
      return meter;
    }
  }
  return {"", "no meter"};
}

std::string meterText(const UsageSample& usage, const std::string& label) {
  return meterOf(usage, label).text;
}

TEST(WatchMeters, BarsAreAsFullAsWhatTheyShow) {
  UsageSample usage;
  usage.load = ZDCPUUsage{48, 30, 18, 52, 0};
  usage.memory = {100, 700, 1, 1, 1, 1};
  usage.disk = {1000, 100, 900};
  usage.rate = NetworkRate{1, 1};
  usage.uptimeSeconds = 0.5;
  usage.battery = {.batteryInstalled = true, .maxCapacity = 8000, .currentCapacity = 800};
  EXPECT_EQ(meterOf(usage, "CPU").fraction, 0.48);
  EXPECT_EQ(meterOf(usage, "CPU").tone, Tone::kGood);
  EXPECT_EQ(meterOf(usage, "Memory").fraction, 0.875);
  EXPECT_EQ(meterOf(usage, "Memory").tone, Tone::kHot);
  EXPECT_EQ(meterOf(usage, "Startup Disk").fraction, 0.9);
  EXPECT_EQ(meterOf(usage, "Battery").fraction, 0.1);
  EXPECT_EQ(meterOf(usage, "Battery").tone, Tone::kHot) << "nearly empty";
  EXPECT_EQ(meterText(usage, "Battery"), "10%");
  EXPECT_EQ(meterOf(usage, "Network").fraction, std::nullopt);
  EXPECT_EQ(meterOf(usage, "Uptime").fraction, std::nullopt);
  EXPECT_EQ(meterText(usage, "Uptime"), "0h 0m");
  usage.disk = {1, 0, 1};
  usage.battery.maxCapacity = 1;
  EXPECT_EQ(meterText(usage, "Startup Disk"), "100% / 1 bytes");
  EXPECT_EQ(meterOf(usage, "Battery").fraction, 800.0);
}

TEST(WatchMeters, WhatTheSystemDoesNotReportIsADash) {
  UsageSample unknown;
  for (const char* label : {"CPU", "Memory", "Network", "Startup Disk", "Uptime"}) {
    EXPECT_EQ(meterText(unknown, label), "–") << label;
  }
  EXPECT_EQ(meterText(unknown, "Battery"), "no meter");
  unknown.battery.batteryInstalled = true;
  EXPECT_EQ(meterText(unknown, "Battery"), "–");
}

TEST(WatchMeters, FiguresHaveTheirUnits) {
  constexpr std::int64_t kGiB = std::int64_t{1} << 30;
  UsageSample usage;
  usage.memory = {1 * kGiB, 7 * kGiB, 3 * kGiB, kGiB, kGiB, 2 * kGiB};
  usage.disk = {500'000'000'000, 100'000'000'000, 400'000'000'000};
  usage.rate = NetworkRate{1'234'567, 0.4};
  usage.battery = {
      .batteryInstalled = true, .isCharging = true, .maxCapacity = 8000, .currentCapacity = 6000};
  usage.uptimeSeconds = 86400 + 7260;
  EXPECT_EQ(meterText(usage, "Memory"), "88% / 8 GB");
  EXPECT_EQ(meterText(usage, "Startup Disk"), "80% / 500 GB");
  EXPECT_EQ(meterText(usage, "Network"), "↓1.23 MB/s ↑0 bytes/s");
  EXPECT_EQ(meterText(usage, "Battery"), "75%  charging");
  EXPECT_EQ(meterText(usage, "Uptime"), "1d 2h 1m");
  usage.memory.other = 5 * kGiB;
  EXPECT_EQ(meterText(usage, "Memory"), "≤ 88% / 8 GB");
  usage.uptimeSeconds = 3599;
  EXPECT_EQ(meterText(usage, "Uptime"), "0h 59m");
}

}  // namespace
}  // namespace kelvora::tool
