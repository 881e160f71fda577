// The labels and values of a reading beside the reading itself.
#include <filesystem>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVValueConverter.h"
#include "KelvoraCore/SensorController.h"

#include "InMemoryMac.h"
#include "RatioReporter.h"
#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::bench {
namespace {

constexpr std::size_t kSensors = 164;
constexpr double kMostReadings = 5;

// The library's own tables as the resources of a host.
class TableBundle : public platform::MainBundle {
 public:
  std::string executablePath() override { return "/usr/bin/refresh_bench"; }
  std::optional<std::string> resourcePath(std::string_view name, std::string_view type) override {
    const std::string path = std::string(KELVORA_TABLES "/").append(name) + "." + std::string(type);
    return std::filesystem::exists(path) ? std::optional(path) : std::nullopt;
  }
  std::vector<std::string> preferredLocalizations() override { return {"de"}; }
  std::optional<PropertyListValue::Dictionary> informationDictionary(const std::string&) override {
    return std::nullopt;
  }
};

void read(benchmark::State& state) {
  const auto platform = macInMemory(kSensors);
  SensorController controller(*platform);
  for (auto iteration : state) {
    benchmark::DoNotOptimize(controller.getAllSensors().data());
  }
}

std::size_t show(const SensorList& sensors, KVSettings& live, Platform& platform) {
  KVSettingsSnapshot settings(live);
  const KVLocalized::Texts texts(settings, platform);
  std::size_t bytes = 0;
  for (const SensorPtr& sensor : sensors) {
    const auto type = static_cast<std::uint32_t>(sensor->type);
    const std::string format = texts.localizedStringForKey("Temp-%@").value_or("%@");
    const double value = type == SensorTypeTemperature
                             ? KVValueConverter::convertedTemp(sensor->value, settings)
                             : sensor->value;
    bytes += KVExtension::replace(format, "%@", sensor->name).size() +
             KVValueConverter::fullStringFromValue(value, type, false, settings).size();
  }
  return bytes;
}

void refresh(benchmark::State& state) {
  const testing::TemporaryFolder folder;
  const auto platform = macInMemory(kSensors);
  platform->ports().mainBundle = std::make_unique<TableBundle>();
  platform->ports().userDefaults = std::make_unique<platform::LinuxUserDefaults>(folder.path());
  KVSettings live(*platform);
  live.setTempUnitCelsius(false);
  live.setCurrentLanguage("de");
  const SensorList sensors = SensorController(*platform).getAllSensors();
  if (sensors.size() < kSensors) {
    state.SkipWithError("sensors are missing");
  }
  for (auto iteration : state) {
    benchmark::DoNotOptimize(show(sensors, live, *platform));
  }
}

int run(int argc, char** argv) {
  benchmark::RegisterBenchmark("read/164", read);
  benchmark::RegisterBenchmark("refresh/164", refresh);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter({{"labels and values of 164 sensors / their reading", "refresh/164",
                           "read/164", kMostReadings}});
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main(int argc, char** argv) { return kelvora::bench::run(argc, argv); }
