#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platforms/shared/InterfaceListBytes.h"
#include "ports/HostStatistics.h"

// Readers of the kernel's texts under /proc. A line or number that is not as expected is left out.
namespace kelvora::platform {

/// The facts in /proc/cpuinfo, over all processors.
struct ProcessorFacts {
  std::string brand;   ///< "model name", e.g. "Intel(R) Core(TM) i7-8850H CPU @ 2.60GHz"
  std::string vendor;  ///< "vendor_id", e.g. "GenuineIntel"
  std::int32_t logicalProcessors = 0;
  std::int32_t packages = 0;           ///< at least 1 when there is a processor
  std::int32_t coresPerPackage = 0;    ///< 0: unknown
  std::int32_t threadsPerPackage = 0;  ///< 0: unknown
  double frequencyHz = 0;              ///< of the first processor now; 0: unknown
};
ProcessorFacts processorFactsOf(std::string_view cpuinfo);

/// /proc/stat: ticks of each processor. Waiting for devices counts as idle; interrupts and the time
/// that a hypervisor took count as system. The idle counter may go back by a little.
std::vector<ProcessorTicks> processorTicksOf(std::string_view stat);

/// /proc/meminfo: the size in bytes of this name, e.g. "MemTotal"; none if it is not there.
std::optional<std::uint64_t> memorySizeOf(std::string_view meminfo, std::string_view name);

/// /proc/net/dev.
std::vector<InterfaceCounters> interfaceCountersOf(std::string_view netDev);

struct Mount {
  std::string device;      ///< e.g. "/dev/nvme0n1p2"
  std::string path;        ///< e.g. "/media/My Disk"
  std::string fileSystem;  ///< e.g. "ext4"
};
/// /proc/mounts, in the order of mounting.
std::vector<Mount> mountsOf(std::string_view mounts);

/// A file of NAME=value lines with optional quotation marks, such as /etc/os-release.
std::map<std::string, std::string, std::less<>> assignmentsOf(std::string_view text);

/// The lines of a text, without their ends.
std::vector<std::string_view> linesOf(std::string_view text);

}  // namespace kelvora::platform
