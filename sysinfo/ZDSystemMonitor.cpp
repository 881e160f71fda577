#include "KelvoraCore/ZDSystemMonitor.h"

#include <array>
#include <utility>

#include "ports/Ports.h"

namespace kelvora {

namespace {

std::uint32_t countedProcessors(platform::SystemControls& controls) {
  constexpr std::array kNumberOfProcessors = {6, 3};
  std::int32_t count = 0;
  std::size_t size = sizeof count;
  const bool isRead = controls.byNumber(kNumberOfProcessors, &count, &size) == 0 && count > 0;
  return isRead ? static_cast<std::uint32_t>(count) : 1;
}

}  // namespace

// Never destroyed: whatever lives for the process samples until the very end.
ZDSystemMonitor& ZDSystemMonitor::systemMonitor() {
  static auto* const monitor = new ZDSystemMonitor;
  return *monitor;
}

ZDSystemMonitor::ZDSystemMonitor() : ZDSystemMonitor(Platform::current()) {}

ZDSystemMonitor::ZDSystemMonitor(Platform& platform, std::string publicAddressService)
    : platform_(platform),
      publicAddressService_(std::move(publicAddressService)),
      processorCount_(countedProcessors(platform.systemControls())) {}

ZDDiskUsage ZDSystemMonitor::diskUsageInfo() const {
  const auto size =
      platform_.hostStatistics().fileSystemSize("/").value_or(platform::FileSystemSize());
  return {size.totalBytes, size.freeBytes, size.totalBytes - size.freeBytes};
}

double ZDSystemMonitor::systemUptime() const { return platform_.hostStatistics().uptimeSeconds(); }

}  // namespace kelvora
