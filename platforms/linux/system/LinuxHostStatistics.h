#pragma once

#include <string>

#include "ports/HostStatistics.h"

namespace kelvora::platform {

/// Counters of the kernel under /proc. Wired memory is what the kernel keeps for itself and what
/// programs have locked: it cannot be paged out.
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
  std::string root_;
};

}  // namespace kelvora::platform
