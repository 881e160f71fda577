#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ZDNetworkInfo.h"
#include "KelvoraCore/ZDUsage.h"

namespace kelvora {

class Platform;

namespace platform {
struct ProcessorTicks;
}

/// The page that shows a computer its public address: plain HTTP, with the address in its text.
/// Fixed by the deployment; a host may use another one for each of its monitors.
inline constexpr const char* kPublicAddressService = "http://checkip.amazonaws.com/";

/// Samples what changes while the computer runs. Each operation asks the system once, when it is
/// called, and returns the sample by value. Only `cpuUsageInfo` remembers anything. Any thread.
class KELVORA_EXPORT ZDSystemMonitor {
 public:
  /// The shared monitor of the current platform, created by the first call and never destroyed.
  static ZDSystemMonitor& systemMonitor();

  /// A monitor of the current platform.
  ZDSystemMonitor();
  /// A monitor of `platform`, which outlives it. Reads the number of logical processors, 1 if the
  /// system does not report it. `publicAddressService` is an address that curl accepts.
  explicit ZDSystemMonitor(Platform& platform,
                           std::string publicAddressService = kPublicAddressService);

  /// The processor load since the previous sample, by any caller; the first sample measures since
  /// start-up. A processor that the system does not report counts as neither busy nor idle. If the
  /// system reports none, all five are -1 and "Error fetching CPU usage - returning -1!" is logged.
  /// Threads that sample at the same time get valid percentages of overlapping intervals.
  ZDCPUUsage cpuUsageInfo();
  /// The use of memory now. What the system does not report counts as 0, after "getting page size"
  /// or "Failed to get VM statistics." on standard error.
  ZDMemoryUsage memoryUsageInfo() const;
  /// How full the volume at "/" is. Logs nothing.
  ZDDiskUsage diskUsageInfo() const;
  /// The bytes that went over the network. If the system refuses the list of its interfaces, writes
  /// e.g. "sysctl: Operation not permitted" to standard error and ends the process with status 1.
  ZDNetworkUsage networkUsageInfo() const;
  /// The state of the first battery. Logs nothing.
  ZDBatteryUsage batteryUsageInfo() const;
  /// Who the computer is on its networks: the last of its IPv4 addresses that do not begin with
  /// "127", else its primary address; its public address, e.g. "203.0.113.7"; its host name.
  ///
  /// The public address is what "/usr/bin/curl -s" with the service's address prints, less every
  /// character but digits and points, at most the first MiB of those; empty if the service does not
  /// answer. This blocks until curl has ended: forever if the service accepts the connection and
  /// never answers, unless curl's own settings (".curlrc") limit the time. Not for a user-interface
  /// thread.
  ZDNetworkInfo networkInfo() const;
  /// Seconds since start-up, without the time that the computer slept; 0 if that is unknown.
  double systemUptime() const;

 private:
  using Ticks = std::vector<platform::ProcessorTicks>;

  ZDCPUUsage averagedLoad(const Ticks& ticks);
  void handOver(std::shared_ptr<const Ticks> ticks);

  Platform& platform_;
  const std::string publicAddressService_;
  const std::uint32_t processorCount_;
  std::mutex mutex_;
  std::shared_ptr<const Ticks> previousTicks_;  // null before the first sample
};

}  // namespace kelvora
