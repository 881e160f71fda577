#include "platforms/linux/system/LinuxHostStatistics.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <ratio>
#include <utility>

#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"

namespace kelvora::platform {

LinuxHostStatistics::LinuxHostStatistics(std::string root) : root_(std::move(root)) {}

std::optional<std::vector<ProcessorTicks>> LinuxHostStatistics::processorTicks() {
  auto ticks = processorTicksOf(readFile(root_ + "/proc/stat").value_or(""));
  if (ticks.empty()) {
    return std::nullopt;
  }
  holdIdleTicks(ticks);
  return ticks;
}

// proc(5): iowait may decrease, and its sum with the idle time too, by a few ticks. Callers
// subtract 32-bit counters, so that a decrease would look like 497 days. Small decreases are hidden
// here. A large one means that the processor was turned off and on, and counts from 0 again.
void LinuxHostStatistics::holdIdleTicks(std::vector<ProcessorTicks>& ticks) {
  constexpr std::uint32_t kMostTakenBack = 6000;  // a minute
  const std::lock_guard lock(mutex_);
  if (ticks.size() == latest_.size()) {
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      const std::uint32_t takenBack = latest_[i].idle - ticks[i].idle;
      ticks[i].idle += takenBack <= kMostTakenBack ? takenBack : 0;
    }
  }
  latest_ = ticks;
}

std::optional<MemoryPages> LinuxHostStatistics::memoryPages() {
  const std::string meminfo = readFile(root_ + "/proc/meminfo").value_or("");
  const auto pageSize = pageSizeBytes();
  if (!memorySizeOf(meminfo, "MemFree") || !pageSize) {
    return std::nullopt;
  }
  const auto pages = [&](std::initializer_list<const char*> names) {
    std::uint64_t bytes = 0;
    for (const char* name : names) {
      bytes += memorySizeOf(meminfo, name).value_or(0);
    }
    return static_cast<std::uint32_t>(bytes / *pageSize);
  };
  return MemoryPages{pages({"MemFree"}), pages({"Active"}), pages({"Inactive"}),
                     pages({"Unevictable", "SUnreclaim", "KernelStack", "PageTables"})};
}

std::optional<std::uint32_t> LinuxHostStatistics::pageSizeBytes() {
  const long size = sysconf(_SC_PAGESIZE);
  if (size <= 0) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(size);
}

double LinuxHostStatistics::uptimeSeconds() {
  // Unlike /proc/uptime this clock stops while the machine sleeps.
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / std::nano::den;
}

std::optional<FileSystemSize> LinuxHostStatistics::fileSystemSize(std::string_view path) {
  struct statvfs information {};
  if (statvfs(std::string(path).c_str(), &information) != 0) {
    return std::nullopt;
  }
  const auto bytes = [&](fsblkcnt_t blocks) {
    return static_cast<std::int64_t>(blocks * information.f_frsize);
  };
  return FileSystemSize{bytes(information.f_blocks), bytes(information.f_bavail)};
}

}  // namespace kelvora::platform
