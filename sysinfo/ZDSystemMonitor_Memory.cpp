#include <cstdio>

#include "KelvoraCore/ZDSystemMonitor.h"

#include "ports/Ports.h"
#include "sysinfo/SystemControlValues.h"

namespace kelvora {

namespace {

// Neither text ends its line: programs compare what is written.
std::uint32_t pageSizeBytes(platform::HostStatistics& statistics) {
  const auto size = statistics.pageSizeBytes();
  if (!size) {
    std::fputs("getting page size", stderr);
  }
  return size.value_or(0);
}

platform::MemoryPages memoryPages(platform::HostStatistics& statistics) {
  const auto pages = statistics.memoryPages();
  if (!pages) {
    std::fputs("Failed to get VM statistics.", stderr);
  }
  return pages.value_or(platform::MemoryPages());
}

}  // namespace

ZDMemoryUsage ZDSystemMonitor::memoryUsageInfo() const {
  platform::HostStatistics& statistics = platform_.hostStatistics();
  const std::uint32_t pageSize = pageSizeBytes(statistics);
  const platform::MemoryPages pages = memoryPages(statistics);
  const std::int64_t installed = sysctlNumberForKey("hw.memsize", platform_.systemControls());
  // 32 bits, which wrap: users compare the figures with those that they have always seen.
  const std::uint32_t free = pages.free * pageSize;
  const std::uint32_t active = pages.active * pageSize;
  const std::uint32_t inactive = pages.inactive * pageSize;
  const std::uint32_t wired = pages.wired * pageSize;
  ZDMemoryUsage usage;
  usage.free = free;
  usage.used = installed - usage.free;
  usage.active = active;
  usage.inactive = inactive;
  usage.wired = wired;
  usage.other = installed - (usage.wired + usage.free + usage.active + usage.inactive);
  return usage;
}

}  // namespace kelvora
