#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// Ticks of one logical processor since start-up, each counter wrapping at 32 bits, in the order of
/// Mach's processor load flavour.
struct ProcessorTicks {
  std::uint32_t user = 0;
  std::uint32_t system = 0;
  std::uint32_t idle = 0;
  std::uint32_t nice = 0;
};

/// Page counts of Mach's virtual-memory statistics.
struct MemoryPages {
  std::uint32_t free = 0;
  std::uint32_t active = 0;
  std::uint32_t inactive = 0;
  std::uint32_t wired = 0;
};

/// Sizes of one mounted file system, in bytes.
struct FileSystemSize {
  std::int64_t totalBytes = 0;
  std::int64_t freeBytes = 0;
};

/// The counters behind the live usage of the computer. A query returns none if the system does not
/// know; that is not logged. Any thread.
class HostStatistics {
 public:
  virtual ~HostStatistics() = default;
  /// host_processor_info(PROCESSOR_CPU_LOAD_INFO): one record per logical processor.
  virtual std::optional<std::vector<ProcessorTicks>> processorTicks() = 0;
  /// host_statistics(HOST_VM_INFO).
  virtual std::optional<MemoryPages> memoryPages() = 0;
  /// Bytes per page, e.g. 16384.
  virtual std::optional<std::uint32_t> pageSizeBytes() = 0;
  /// Seconds since the computer started, without the time that it slept.
  virtual double uptimeSeconds() = 0;
  /// Size and free space of the file system at `path`, e.g. "/".
  virtual std::optional<FileSystemSize> fileSystemSize(std::string_view path) = 0;
};

}  // namespace kelvora::platform
