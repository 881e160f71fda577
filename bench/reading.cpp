// What one reading of all sensors costs beside its calls to the SMC.
//
// A call to a real SMC takes microseconds, one to an SMC in memory some 25 nanoseconds. The reading
// over 500 keys is therefore measured on an SMC of which each call keeps the processor busy for 2.5
// microseconds, beside a loop that only makes the same calls to it: the ratio is what a host pays,
// with the same caches and the same clock on both sides. How the cost grows with the keys is
// measured on the SMC in memory, where nothing hides it.

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "KelvoraCore/SensorController.h"

#include "InMemoryMac.h"
#include "RatioReporter.h"

namespace kelvora::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kFew = 500;
constexpr std::size_t kMany = 10'000;
constexpr std::chrono::nanoseconds kCallTime(2'500);

// Forwards to another SMC and takes kCallTime for each call.
class SlowSMC : public platform::SMCUserClient {
 public:
  explicit SlowSMC(std::unique_ptr<platform::SMCUserClient> behind) : behind_(std::move(behind)) {}

  platform::KernelStatus matchingServices(const char* serviceClass,
                                          platform::IOObject& iterator) override {
    return behind_->matchingServices(serviceClass, iterator);
  }
  platform::IOObject nextService(platform::IOObject iterator) override {
    return behind_->nextService(iterator);
  }
  void release(platform::IOObject object) override { behind_->release(object); }
  platform::KernelStatus openService(platform::IOObject service, std::uint32_t type,
                                     platform::IOObject& connection) override {
    return behind_->openService(service, type, connection);
  }
  platform::KernelStatus closeService(platform::IOObject connection) override {
    return behind_->closeService(connection);
  }
  platform::KernelStatus callStructMethod(platform::IOObject connection, std::uint32_t selector,
                                          std::span<const std::byte> input,
                                          std::span<std::byte> output) override {
    const Clock::time_point end = Clock::now() + kCallTime;
    const auto status = behind_->callStructMethod(connection, selector, input, output);
    while (Clock::now() < end) {
    }
    return status;
  }

 private:
  std::unique_ptr<platform::SMCUserClient> behind_;
};

std::unique_ptr<Platform> slowMac(std::size_t sensorKeys) {
  auto mac = macInMemory(sensorKeys);
  mac->ports().smc = std::make_unique<SlowSMC>(std::move(mac->ports().smc));
  return mac;
}

using MakeMac = std::unique_ptr<Platform> (*)(std::size_t);

void getAllSensors(benchmark::State& state, std::size_t sensorKeys, MakeMac makeMac) {
  const std::unique_ptr<Platform> mac = makeMac(sensorKeys);
  SensorController controller(*mac);
  if (controller.getAllSensors().size() < sensorKeys) {
    state.SkipWithError("sensors are missing");
  }
  for (auto iteration : state) {
    benchmark::DoNotOptimize(controller.getAllSensors().data());
  }
}

platform::IOObject open(platform::SMCUserClient& smc) {
  platform::IOObject iterator = 0;
  smc.matchingServices("AppleSMC", iterator);
  const platform::IOObject service = smc.nextService(iterator);
  platform::IOObject connection = 0;
  smc.openService(service, 0, connection);
  smc.release(service);
  smc.release(iterator);
  return connection;
}

void onlyTheCalls(benchmark::State& state, std::size_t sensorKeys, MakeMac makeMac) {
  const std::vector<SMCParamRecord> requests = callsOfAReading(sensorKeys);
  const std::unique_ptr<Platform> mac = makeMac(sensorKeys);
  const platform::IOObject connection = open(mac->smc());
  for (auto iteration : state) {
    for (const SMCParamRecord& request : requests) {
      SMCParamRecord reply;
      mac->smc().callStructMethod(connection, SMCSelector, std::as_bytes(std::span(&request, 1)),
                                  std::as_writable_bytes(std::span(&reply, 1)));
      benchmark::DoNotOptimize(reply);
    }
  }
  state.counters["calls"] = static_cast<double>(requests.size());
  mac->smc().closeService(connection);
}

int run(int argc, char** argv) {
  benchmark::RegisterBenchmark("getAllSensors/500/slow", getAllSensors, kFew, slowMac);
  benchmark::RegisterBenchmark("onlyTheCalls/500/slow", onlyTheCalls, kFew, slowMac);
  benchmark::RegisterBenchmark("getAllSensors/500", getAllSensors, kFew, macInMemory);
  benchmark::RegisterBenchmark("getAllSensors/10000", getAllSensors, kMany, macInMemory);
  benchmark::RegisterBenchmark("onlyTheCalls/500", onlyTheCalls, kFew, macInMemory);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter({
      {"a reading of 500 keys / its calls of 2.5 microseconds", "getAllSensors/500/slow",
       "onlyTheCalls/500/slow", 1.03},
      {"a reading of 10,000 keys / of 500, SMC in memory", "getAllSensors/10000",
       "getAllSensors/500", 25},
      {"a reading of 500 keys / its calls, SMC in memory", "getAllSensors/500", "onlyTheCalls/500",
       std::nullopt},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main(int argc, char** argv) { return kelvora::bench::run(argc, argv); }
