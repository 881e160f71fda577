#include "platforms/macos/system/MacHostStatistics.h"

#include <array>
#include <ratio>
#include <string>

#include <mach/mach.h>
#include <mach/mach_time.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <sys/sysctl.h>

namespace kelvora::platform {

namespace {

// A right to the host's port: each call of mach_host_self adds one to this task.
class HostPort {
 public:
  HostPort() : port_(mach_host_self()) {}
  ~HostPort() { mach_port_deallocate(mach_task_self(), port_); }
  HostPort(const HostPort&) = delete;
  HostPort& operator=(const HostPort&) = delete;
  host_t get() const { return port_; }

 private:
  host_t port_;
};

// The counters of all processors, in memory that the kernel gave to this task.
class ProcessorLoads {
 public:
  ProcessorLoads() {
    const HostPort host;
    isKnown_ = host_processor_info(host.get(), PROCESSOR_CPU_LOAD_INFO, &processors_, &counters_,
                                   &count_) == KERN_SUCCESS;
  }
  ~ProcessorLoads() {
    if (isKnown_) {
      vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(counters_),
                    count_ * sizeof(integer_t));
    }
  }
  ProcessorLoads(const ProcessorLoads&) = delete;
  ProcessorLoads& operator=(const ProcessorLoads&) = delete;

  bool isKnown() const { return isKnown_; }
  natural_t processors() const { return processors_; }
  std::uint32_t ticks(natural_t processor, int state) const {
    return static_cast<std::uint32_t>(
        counters_[std::size_t{processor} * CPU_STATE_MAX + static_cast<std::size_t>(state)]);
  }

 private:
  bool isKnown_ = false;
  natural_t processors_ = 0;
  processor_info_array_t counters_ = nullptr;
  mach_msg_type_number_t count_ = 0;
};

}  // namespace

std::optional<std::vector<ProcessorTicks>> MacHostStatistics::processorTicks() {
  const ProcessorLoads loads;
  if (!loads.isKnown()) {
    return std::nullopt;
  }
  std::vector<ProcessorTicks> ticks;
  for (natural_t i = 0; i < loads.processors(); ++i) {
    ticks.push_back({loads.ticks(i, CPU_STATE_USER), loads.ticks(i, CPU_STATE_SYSTEM),
                     loads.ticks(i, CPU_STATE_IDLE), loads.ticks(i, CPU_STATE_NICE)});
  }
  return ticks;
}

std::optional<MemoryPages> MacHostStatistics::memoryPages() {
  const HostPort host;
  vm_statistics_data_t statistics = {};
  mach_msg_type_number_t count = HOST_VM_INFO_COUNT;
  if (host_statistics(host.get(), HOST_VM_INFO, reinterpret_cast<host_info_t>(&statistics),
                      &count) != KERN_SUCCESS) {
    return std::nullopt;
  }
  return MemoryPages{statistics.free_count, statistics.active_count, statistics.inactive_count,
                     statistics.wire_count};
}

std::optional<std::uint32_t> MacHostStatistics::pageSizeBytes() {
  std::uint32_t bytes = 0;
  std::size_t size = sizeof(bytes);
  if (controls_.byNumber(std::array{CTL_HW, HW_PAGESIZE}, &bytes, &size) != 0 ||
      size != sizeof(bytes)) {
    return std::nullopt;
  }
  return bytes;
}

double MacHostStatistics::uptimeSeconds() {
  // This clock stops while the computer sleeps. Its unit is a fraction of nanoseconds.
  mach_timebase_info_data_t unit = {};
  if (mach_timebase_info(&unit) != KERN_SUCCESS || unit.denom == 0) {
    return 0;
  }
  return static_cast<double>(mach_absolute_time()) * unit.numer / unit.denom / std::nano::den;
}

std::optional<FileSystemSize> MacHostStatistics::fileSystemSize(std::string_view path) {
  // Not statvfs, which counts blocks in 32 bits here.
  struct statfs information = {};
  if (statfs(std::string(path).c_str(), &information) != 0) {
    return std::nullopt;
  }
  const auto bytes = [&](std::uint64_t blocks) {
    return static_cast<std::int64_t>(blocks * information.f_bsize);
  };
  return FileSystemSize{bytes(information.f_blocks), bytes(information.f_bavail)};
}

}  // namespace kelvora::platform
