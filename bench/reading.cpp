// One reading of all sensors beside a bare loop that makes the same calls to the SMC.

#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "KelvoraCore/SensorController.h"

#include "InMemoryMac.h"
#include "RatioReporter.h"

namespace kelvora::bench {
namespace {

constexpr std::size_t kFew = 500;
constexpr std::size_t kMany = 10'000;
constexpr std::uint32_t kSelector = 2;
constexpr std::uint8_t kReadBytes = 5;

void getAllSensors(benchmark::State& state, std::size_t sensorKeys) {
  installSMC(std::make_unique<platform::RecordedSMC>(smcKeys(sensorKeys)));
  SensorController controller(currentPlatform(), device());
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

float number(const SMCParamRecord& reply, const Call& call) {
  SMCValueRecord value;
  value.dataSize = call.request.keyInfo.dataSize;
  SMCConvertNumberToString(value.dataType, call.dataType);
  std::memcpy(value.bytes, reply.bytes, sizeof value.bytes);
  return SMCConvertValueToNumber(value);
}

struct Records {
  SMCParamRecord request;
  SMCParamRecord reply;
};

float readBare(platform::SMCUserClient& smc, platform::IOObject connection, const Call& call,
               Records& records) {
  records.request.key = call.request.key;
  records.request.keyInfo.dataSize = call.request.keyInfo.dataSize;
  records.request.command = call.request.command;
  smc.callStructMethod(connection, kSelector, std::as_bytes(std::span(&records.request, 1)),
                       std::as_writable_bytes(std::span(&records.reply, 1)));
  return records.request.command == kReadBytes ? number(records.reply, call) : 0;
}

// New records for every call, as the protocol's functions have them.
float bareReading(platform::SMCUserClient& smc, platform::IOObject connection,
                  const std::vector<Call>& calls) {
  float sum = 0;
  for (const Call& call : calls) {
    Records records;
    sum += readBare(smc, connection, call, records);
  }
  return sum;
}

// One pair of records for all calls, as a reading has it: nothing that makes them is faster.
float fastestReading(platform::SMCUserClient& smc, platform::IOObject connection,
                     const std::vector<Call>& calls) {
  float sum = 0;
  Records records;
  for (const Call& call : calls) {
    sum += readBare(smc, connection, call, records);
  }
  return sum;
}

using Loop = float (*)(platform::SMCUserClient&, platform::IOObject, const std::vector<Call>&);

void loopOverCalls(benchmark::State& state, std::size_t sensorKeys, Loop loop) {
  const std::vector<Call> calls = callsOfAReading(sensorKeys);
  platform::SMCUserClient& smc =
      installSMC(std::make_unique<platform::RecordedSMC>(smcKeys(sensorKeys)));
  const platform::IOObject connection = open(smc);
  for (auto iteration : state) {
    benchmark::DoNotOptimize(loop(smc, connection, calls));
  }
  state.counters["calls"] = static_cast<double>(calls.size());
  smc.closeService(connection);
}

int run(int argc, char** argv) {
  for (const std::size_t keys : {kFew, kMany}) {
    const std::string suffix = "/" + std::to_string(keys);
    benchmark::RegisterBenchmark(("getAllSensors" + suffix).c_str(), getAllSensors, keys);
    benchmark::RegisterBenchmark(("bareLoop" + suffix).c_str(), loopOverCalls, keys, bareReading);
    benchmark::RegisterBenchmark(("oneRequestLoop" + suffix).c_str(), loopOverCalls, keys,
                                 fastestReading);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  RatioReporter reporter({
      {"getAllSensors over 500 keys / bare loop", "getAllSensors/500", "bareLoop/500", 1.3},
      {"getAllSensors over 500 keys / loop with one request for all", "getAllSensors/500",
       "oneRequestLoop/500", std::nullopt},
      {"getAllSensors over 10,000 keys / over 500", "getAllSensors/10000", "getAllSensors/500", 25},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}

}  // namespace
}  // namespace kelvora::bench

int main(int argc, char** argv) { return kelvora::bench::run(argc, argv); }
