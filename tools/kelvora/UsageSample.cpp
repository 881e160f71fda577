#include "tools/kelvora/UsageSample.h"

#include <cmath>

namespace kelvora::tool {

std::optional<NetworkRate> networkRate(const ZDNetworkUsage& before, const ZDNetworkUsage& now,
                                       std::chrono::duration<double> between) {
  const bool isRestarted = now.received < before.received || now.sent < before.sent;
  if (isRestarted || between.count() <= 0) {
    return std::nullopt;
  }
  const auto perSecond = [&](std::uint64_t bytes) {
    return static_cast<double>(bytes) / between.count();
  };
  return NetworkRate{perSecond(now.received - before.received), perSecond(now.sent - before.sent)};
}

// All five figures are known, or none is.
std::optional<ZDCPUUsage> knownLoad(const ZDCPUUsage& load) {
  return load.total >= 0 ? std::optional(load) : std::nullopt;
}

std::int64_t installedMemory(const ZDMemoryUsage& memory) { return memory.used + memory.free; }

MemoryAccuracy accuracyOf(const ZDMemoryUsage& memory) {
  constexpr std::int64_t kWrap = std::int64_t{1} << 32;
  const bool hasFigures = (memory.free | memory.active | memory.inactive | memory.wired) != 0;
  if (installedMemory(memory) <= 0 || !hasFigures) {
    return MemoryAccuracy::kUnknown;
  }
  return memory.other < kWrap ? MemoryAccuracy::kExact : MemoryAccuracy::kWrapped;
}

UsageSample UsageSampler::sample(std::chrono::steady_clock::time_point time) {
  UsageSample sample;
  sample.time = time;
  sample.load = knownLoad(monitor_.cpuUsageInfo());
  sample.isLoadSinceStartUp = !previous_;
  sample.memory = monitor_.memoryUsageInfo();
  sample.disk = monitor_.diskUsageInfo();
  sample.network = monitor_.networkUsageInfo();
  if (previous_) {
    sample.rate = networkRate(previous_->network, sample.network, time - previous_->time);
  }
  sample.battery = monitor_.batteryUsageInfo();
  sample.uptimeSeconds = monitor_.systemUptime();
  previous_ = sample;
  return sample;
}

}  // namespace kelvora::tool
