#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "ports/HostStatistics.h"

namespace kelvora::platform {

/// Counters of the kernel under /proc. Wired memory is what the kernel keeps for itself and what
/// programs have locked: it cannot be paged out. When the kernel decreases an idle counter
/// slightly, the last value is returned until the kernel's counter exceeds it.
class LinuxHostStatistics : public HostStatistics {
 public:
  /// `root` is put before the paths of /proc, empty for the system's.
  explicit LinuxHostStatistics(std::string root = "");
  std::optional<std::vector<ProcessorTicks>> processorTicks() override;
  std::optional<MemoryPages> memoryPages() override;
  std::optional<std::uint32_t> pageSizeBytes() override;
  double uptimeSeconds() override;
  std::optional<FileSystemSize> fileSystemSize(std::string_view path) override;

 private:
  void holdIdleTicks(std::vector<ProcessorTicks>& ticks);

  std::string root_;
  std::mutex mutex_;
  std::vector<ProcessorTicks> latest_;  // as returned
};

}  // namespace kelvora::platform
