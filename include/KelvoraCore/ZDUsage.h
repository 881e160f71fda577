#pragma once

#include <cstdint>

#include "KelvoraCore/Export.h"

// One sample each of the figures that change while the computer runs. Plain values: copies may be
// read by any thread. docs/usage.md says where each figure comes from on each system.
namespace kelvora {

/// Processor load in percent, 0 to 100, averaged over all logical processors. All five are
/// not-a-number if a processor counted nothing since the sample before, and -1 if the system
/// reports no load.
struct KELVORA_EXPORT ZDCPUUsage {
  double total = 0;  ///< user, system and nice together
  double user = 0;
  double system = 0;
  double idle = 0;
  double nice = 0;  ///< programs that run at a low priority
};

/// Memory in bytes. `free`, `active`, `inactive` and `wired` are 32-bit figures: each wraps to 0 at
/// 4 GiB, so 8.5 GiB of active memory are shown as 0.5 GiB. `used` and `other` are computed from
/// them and are too large by the lost amount.
struct KELVORA_EXPORT ZDMemoryUsage {
  std::int64_t free = 0;
  std::int64_t used = 0;  ///< installed memory that is not free
  std::int64_t active = 0;
  std::int64_t inactive = 0;
  std::int64_t wired = 0;  ///< cannot be paged out
  std::int64_t other = 0;  ///< the rest of the installed memory: compressed and other memory
};

/// The volume at "/" in bytes; all 0 if the system does not report it.
struct KELVORA_EXPORT ZDDiskUsage {
  std::int64_t total = 0;
  std::int64_t free = 0;
  std::int64_t used = 0;  ///< `total` without `free`
};

/// Bytes since start-up over all network interfaces, loopback included. A counter that went back
/// between two samples restarted: an interface is gone, or its driver was loaded again.
struct KELVORA_EXPORT ZDNetworkUsage {
  std::uint64_t received = 0;
  std::uint64_t sent = 0;
};

/// The state of the battery. A figure that the system does not report is 0 or false; without a
/// battery all are.
struct KELVORA_EXPORT ZDBatteryUsage {
  bool batteryInstalled = false;
  bool fullyCharged = false;
  bool externalConnected = false;  ///< a mains adapter is attached
  bool isCharging = false;
  double voltage = 0;          ///< volts, e.g. 12.45
  double amperage = 0;         ///< amperes, negative while the battery discharges, e.g. -1.82
  double designCapacity = 0;   ///< mAh when the battery was new, e.g. 8440
  double maxCapacity = 0;      ///< mAh when it is full now, e.g. 7345; percent on Apple silicon
  double currentCapacity = 0;  ///< in the unit of `maxCapacity`
  std::uint64_t designCycleCount = 0;  ///< charge cycles that it was made for, e.g. 1000
  std::uint64_t cycleCount = 0;        ///< charge cycles so far
  std::uint64_t ageInDays = 0;         ///< whole days since its manufacture; 0 if that is unknown
};

}  // namespace kelvora
