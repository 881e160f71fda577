#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "KelvoraCore/Platform.h"
#include "KelvoraCore/ZDSystemMonitor.h"
#include "KelvoraCore/ZDUsage.h"

namespace kelvora::tool {

/// Bytes per second over the network.
struct NetworkRate {
  double received = 0;
  double sent = 0;
};

/// The rate between two samples. None without time between them, and where a counter went back: it
/// restarted, and what went over the network in between is not known.
std::optional<NetworkRate> networkRate(const ZDNetworkUsage& before, const ZDNetworkUsage& now,
                                       std::chrono::duration<double> between);

/// A processor load that is known: the system reports one, and every processor counted time.
std::optional<ZDCPUUsage> knownLoad(const ZDCPUUsage& load);

/// How far the figures of a ZDMemoryUsage can be trusted. Four of them wrap to 0 at 4 GiB, and what
/// they lost is in `used` and `other`.
enum class MemoryAccuracy : std::uint8_t {
  kUnknown,  ///< the system reports no memory, or none of its figures
  kExact,    ///< `other` is below 4 GiB, so that no figure can have lost 4 GiB to it
  /// A figure may have wrapped: `free`, `active`, `inactive` and `wired` are at least, `used` and
  /// `other` at most what is shown.
  kWrapped,
};
MemoryAccuracy accuracyOf(const ZDMemoryUsage& memory);

/// The installed memory in bytes, which no figure changes.
std::int64_t installedMemory(const ZDMemoryUsage& memory);

/// What changes while a machine runs, at one moment.
struct UsageSample {
  std::chrono::steady_clock::time_point time;
  std::optional<ZDCPUUsage> load;   ///< none if it is not known
  bool isLoadSinceStartUp = false;  ///< the sampler's first; else since its sample before
  ZDMemoryUsage memory;
  ZDDiskUsage disk;
  ZDNetworkUsage network;
  std::optional<NetworkRate> rate;  ///< since the sample before; none in the first
  ZDBatteryUsage battery;
  double uptimeSeconds = 0;  ///< 0 if it is not known
};

/// Samples one machine again and again. One thread.
class UsageSampler {
 public:
  /// Samples `platform`, which outlives the sampler.
  explicit UsageSampler(Platform& platform) : monitor_(platform) {}

  /// A sample of now, with what happened since the one before. `time` is now, for rates. Where the
  /// system refuses the counters of the network, the process ends (see ZDSystemMonitor).
  UsageSample sample(std::chrono::steady_clock::time_point time = std::chrono::steady_clock::now());

 private:
  ZDSystemMonitor monitor_;
  std::optional<UsageSample> previous_;
};

}  // namespace kelvora::tool
