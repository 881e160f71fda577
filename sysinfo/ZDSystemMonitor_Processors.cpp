#include <algorithm>
#include <utility>

#include "KelvoraCore/ZDSystemMonitor.h"

#include "base/Log.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

// Sums over processors. Shares are single-precision numbers, as their sums are.
struct LoadSums {
  float total = 0;
  float user = 0;
  float system = 0;
  float idle = 0;
  float nice = 0;
};

// Unsigned, so that a counter that has wrapped still gives the right difference.
platform::ProcessorTicks difference(const platform::ProcessorTicks& now,
                                    const platform::ProcessorTicks& before) {
  return {now.user - before.user, now.system - before.system, now.idle - before.idle,
          now.nice - before.nice};
}

// A processor without a tick divides 0 by 0, and the sums are not numbers any more.
void add(LoadSums& sums, const platform::ProcessorTicks& ticks) {
  const auto percentOf = [](float part, float whole) { return part / whole * 100; };
  const auto user = static_cast<float>(ticks.user);
  const auto system = static_cast<float>(ticks.system);
  const auto idle = static_cast<float>(ticks.idle);
  const auto nice = static_cast<float>(ticks.nice);
  const float inUse = user + system + nice;
  const float all = inUse + idle;
  sums.total += percentOf(inUse, all);
  sums.user += percentOf(user, all);
  sums.system += percentOf(system, all);
  sums.idle += percentOf(idle, all);
  sums.nice += percentOf(nice, all);
}

}  // namespace

ZDCPUUsage ZDSystemMonitor::cpuUsageInfo() {
  auto ticks = platform_.hostStatistics().processorTicks();
  if (!ticks || ticks->empty()) {
    log("Error fetching CPU usage - returning -1!");
    return {-1, -1, -1, -1, -1};
  }
  const auto current = std::make_shared<const Ticks>(std::move(*ticks));
  const ZDCPUUsage usage = averagedLoad(*current);
  handOver(current);
  return usage;
}

ZDCPUUsage ZDSystemMonitor::averagedLoad(const Ticks& ticks) {
  const std::lock_guard lock(mutex_);
  // Which processor a position is for changes when one is turned on or off.
  const bool isComparable = previousTicks_ && previousTicks_->size() == ticks.size();
  LoadSums sums;
  for (std::size_t i = 0; i < std::min<std::size_t>(processorCount_, ticks.size()); ++i) {
    add(sums, isComparable ? difference(ticks[i], (*previousTicks_)[i]) : ticks[i]);
  }
  const auto average = [&](float sum) -> double {
    return sum / static_cast<float>(processorCount_);
  };
  return {average(sums.total), average(sums.user), average(sums.system), average(sums.idle),
          average(sums.nice)};
}

// A step of its own after the averaging: threads that sample at once may compare with the same
// sample.
void ZDSystemMonitor::handOver(std::shared_ptr<const Ticks> ticks) {
  const std::lock_guard lock(mutex_);
  previousTicks_.swap(ticks);
}

}  // namespace kelvora
