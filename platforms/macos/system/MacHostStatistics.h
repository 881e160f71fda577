#pragma once

#include "platforms/macos/system/MacSystemControls.h"
#include "ports/HostStatistics.h"

namespace kelvora::platform {

/// The counters of the running system, from Mach, the file system and the routing control.
class MacHostStatistics : public HostStatistics {
 public:
  std::optional<std::vector<ProcessorTicks>> processorTicks() override;
  std::optional<MemoryPages> memoryPages() override;
  std::optional<std::uint32_t> pageSizeBytes() override;
  double uptimeSeconds() override;
  std::optional<FileSystemSize> fileSystemSize(std::string_view path) override;

 private:
  MacSystemControls controls_;
};

}  // namespace kelvora::platform
