// One sample of each kind beside the bare calls to the system that it makes.
#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"
#include "KelvoraCore/ZDSystemMonitor.h"

#include "RatioReporter.h"
#include "platforms/linux/system/LinuxIORegistry.h"
#include "ports/Ports.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::bench {
namespace {

constexpr double kMost = 1.5;

/// Reads a file as the kernel's have to be read: to the end, whatever size they report.
void readBare(const std::string& path) {
  std::array<char, 4096> content;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  while (file >= 0 && read(file, content.data(), content.size()) > 0) {
    benchmark::DoNotOptimize(content.data());
  }
  if (file >= 0) {
    close(file);
  }
}

/// This computer; its battery is a folder, because not every computer has one.
struct Computer {
  Computer() {
    for (const auto& [name, value] : kBattery) {
      folder.write("sys/class/power_supply/BAT0/" + std::string(name), std::string(value) + "\n");
    }
    platform->ports().registry = std::make_unique<platform::LinuxIORegistry>(folder.path());
  }
  static constexpr std::array<std::array<const char*, 2>, 10> kBattery = {  // what a driver has
      {{"type", "Battery"},
       {"present", "1"},
       {"status", "Discharging"},
       {"voltage_now", "12450000"},
       {"current_now", "1820000"},
       {"charge_full_design", "8440000"},
       {"charge_full", "7345000"},
       {"charge_now", "5876000"},
       {"cycle_count", "412"},
       {"manufacture_year", "2017"}}};
  testing::TemporaryFolder folder;
  std::unique_ptr<Platform> platform = Platform::live();
  ZDSystemMonitor monitor{*platform};
};

template <typename Sample>
void sampled(benchmark::State& state, Sample sample) {
  Computer computer;
  sample(computer.monitor);  // what is read only once
  for (auto iteration : state) {
    benchmark::DoNotOptimize(sample(computer.monitor));
  }
}

template <typename Calls>
void bare(benchmark::State& state, Calls calls) {
  for (auto iteration : state) {
    calls();
  }
}

void statBare() {
  struct statvfs information {};
  benchmark::DoNotOptimize(statvfs("/", &information));
}

void clockBare() {
  timespec now{};
  benchmark::DoNotOptimize(clock_gettime(CLOCK_MONOTONIC, &now));
}

void listBare(const std::string& folder) {
  DIR* const entries = opendir(folder.c_str());
  while (readdir(entries) != nullptr) {
  }
  closedir(entries);
}

// The folder is listed, and attributes that a driver does not have are looked for.
void batteryBare(benchmark::State& state) {
  const Computer computer;
  const std::string folder = computer.folder.path("sys/class/power_supply");
  std::vector<std::string> paths;
  for (const char* absent : {"scope", "online", "manufacture_month", "manufacture_day"}) {
    paths.push_back(folder + "/BAT0/" + absent);
  }
  for (const auto& [name, value] : Computer::kBattery) {
    paths.push_back(folder + "/BAT0/" + name);
  }
  for (auto iteration : state) {
    listBare(folder);
    for (const std::string& path : paths) {
      readBare(path);
    }
  }
}

std::vector<Goal> goals() {
  std::vector<Goal> goals;
  for (const char* name : {"processors", "memory", "volume", "network", "battery", "uptime"}) {
    goals.push_back({std::string("a sample: ") + name + " / its bare calls", name,
                     std::string(name) + "_bare", kMost});
  }
  return goals;
}

void registerBenchmarks() {
  using benchmark::RegisterBenchmark;
  const auto sample = [](const char* name, auto call) {
    RegisterBenchmark(name, [=](benchmark::State& state) { sampled(state, call); });
  };
  const auto yardstick = [](const char* name, auto calls) {
    RegisterBenchmark(name, [=](benchmark::State& state) { bare(state, calls); });
  };
  sample("processors", [](ZDSystemMonitor& monitor) { return monitor.cpuUsageInfo(); });
  yardstick("processors_bare", [] { readBare("/proc/stat"); });
  sample("memory", [](ZDSystemMonitor& monitor) { return monitor.memoryUsageInfo(); });
  yardstick("memory_bare", [] { readBare("/proc/meminfo"); });
  sample("volume", [](ZDSystemMonitor& monitor) { return monitor.diskUsageInfo(); });
  yardstick("volume_bare", statBare);
  // The list of interfaces is asked for its size first.
  sample("network", [](ZDSystemMonitor& monitor) { return monitor.networkUsageInfo(); });
  yardstick("network_bare", [] {
    readBare("/proc/net/dev");
    readBare("/proc/net/dev");
  });
  sample("battery", [](ZDSystemMonitor& monitor) { return monitor.batteryUsageInfo(); });
  RegisterBenchmark("battery_bare", batteryBare);
  sample("uptime", [](ZDSystemMonitor& monitor) { return monitor.systemUptime(); });
  yardstick("uptime_bare", clockBare);
}

int run(int argc, char** argv) {
  registerBenchmarks();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter(goals());
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main(int argc, char** argv) { return kelvora::bench::run(argc, argv); }
