// A reading of the SMC driver's files, which stay open, beside opening and reading each.
#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include "RatioReporter.h"
#include "platforms/linux/smc/AppleSMCFiles.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::bench {
namespace {

constexpr int kFiles = 300;
constexpr double kMostOpenings = 0.25;

// A folder like that of the driver, and the names in it.
struct SensorFiles {
  SensorFiles() {
    for (int number = 1; number <= kFiles; ++number) {
      names.push_back("temp" + std::to_string(number) + "_input");
      folder.write(names.back(), "42250\n");
    }
  }
  testing::TemporaryFolder folder;
  std::vector<std::string> names;
};

void readKept(benchmark::State& state) {
  const SensorFiles sensors;
  platform::AppleSMCFiles files(sensors.folder.path());
  for (const std::string& name : sensors.names) {
    files.read(name);
  }
  for (auto iteration : state) {
    for (const std::string& name : sensors.names) {
      if (files.read(name) != "42250\n") {
        std::exit(1);
      }
    }
  }
}

void openAndReadEach(benchmark::State& state) {
  const SensorFiles sensors;
  std::vector<std::string> paths;
  for (const std::string& name : sensors.names) {
    paths.push_back(sensors.folder.path(name));
  }
  for (auto iteration : state) {
    for (const std::string& path : paths) {
      std::array<char, 4096> content;
      const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
      if (read(file, content.data(), content.size()) != 6 || close(file) != 0) {
        std::exit(1);
      }
      benchmark::DoNotOptimize(content.data());
    }
  }
}

int run(int argc, char** argv) {
  benchmark::RegisterBenchmark("kept/300", readKept);
  benchmark::RegisterBenchmark("opened/300", openAndReadEach);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter({{"second reading of 300 sensor files / opening and reading each",
                           "kept/300", "opened/300", kMostOpenings}});
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main(int argc, char** argv) { return kelvora::bench::run(argc, argv); }
