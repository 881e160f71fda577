#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/StopSignal.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/LineGroup.h"
#include "tools/kelvora/LiveReport.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/UsageSample.h"
#include "tools/kelvora/UsageText.h"

namespace kelvora::tool {

namespace {

// How long one live report measures, so that its rates are those of now.
constexpr std::chrono::seconds kNow(1);

constexpr std::size_t kMostBarColumns = 20;

// Of a terminal that is too low for all lines below each other.
constexpr std::size_t kLeastTwoColumns = 72;
constexpr std::size_t kShortBarColumns = 6;

Json jsonLoad(const UsageSample& sample) {
  const auto percent = [&](double ZDCPUUsage::*share) {
    return sample.load ? jsonNumber((*sample.load).*share) : Json(nullptr);
  };
  return {{"total", percent(&ZDCPUUsage::total)},   {"user", percent(&ZDCPUUsage::user)},
          {"system", percent(&ZDCPUUsage::system)}, {"idle", percent(&ZDCPUUsage::idle)},
          {"nice", percent(&ZDCPUUsage::nice)},     {"sinceStartUp", sample.isLoadSinceStartUp}};
}

const char* nameOf(MemoryAccuracy accuracy) {
  switch (accuracy) {
    case MemoryAccuracy::kExact:
      return "exact";
    case MemoryAccuracy::kWrapped:
      return "wrapped";
    default:
      return "unknown";
  }
}

Json bytesIf(bool isKnown, std::int64_t bytes) { return isKnown ? Json(bytes) : Json(nullptr); }

Json jsonOf(const ZDMemoryUsage& memory) {
  const bool isKnown = accuracyOf(memory) != MemoryAccuracy::kUnknown;
  const std::int64_t installed = installedMemory(memory);
  return {{"free", bytesIf(isKnown, memory.free)},
          {"used", bytesIf(isKnown, memory.used)},
          {"active", bytesIf(isKnown, memory.active)},
          {"inactive", bytesIf(isKnown, memory.inactive)},
          {"wired", bytesIf(isKnown, memory.wired)},
          {"other", bytesIf(isKnown, memory.other)},
          {"installed", bytesIf(installed > 0, installed)},
          {"accuracy", nameOf(accuracyOf(memory))}};
}

Json jsonOf(const ZDDiskUsage& disk) {
  const bool isKnown = disk.total > 0;
  return {{"total", bytesIf(isKnown, disk.total)},
          {"free", bytesIf(isKnown, disk.free)},
          {"used", bytesIf(isKnown, disk.used)}};
}

Json jsonNetwork(const UsageSample& sample) {
  const auto perSecond = [&](double NetworkRate::*rate) {
    return sample.rate ? jsonNumber((*sample.rate).*rate) : Json(nullptr);
  };
  return {{"received", sample.network.received},
          {"sent", sample.network.sent},
          {"receivedPerSecond", perSecond(&NetworkRate::received)},
          {"sentPerSecond", perSecond(&NetworkRate::sent)}};
}

Json jsonOf(const ZDBatteryUsage& battery) {
  return {{"batteryInstalled", battery.batteryInstalled},
          {"fullyCharged", battery.fullyCharged},
          {"externalConnected", battery.externalConnected},
          {"isCharging", battery.isCharging},
          {"voltage", jsonNumber(battery.voltage)},
          {"amperage", jsonNumber(battery.amperage)},
          {"designCapacity", jsonNumber(battery.designCapacity)},
          {"maxCapacity", jsonNumber(battery.maxCapacity)},
          {"currentCapacity", jsonNumber(battery.currentCapacity)},
          {"designCycleCount", battery.designCycleCount},
          {"cycleCount", battery.cycleCount},
          {"ageInDays", battery.ageInDays}};
}

std::size_t blankLines(const Screen& lines) {
  return static_cast<std::size_t>(std::ranges::count_if(lines, &ScreenLine::empty));
}

// Processor and memory at the left of the others. Blank lines only where `rows` are enough.
Screen inTwoColumns(const std::vector<LineGroup>& groups, std::size_t columns, std::size_t rows) {
  constexpr std::size_t kColumnGap = 2;
  constexpr std::ptrdiff_t kGroupsAtLeft = 2;
  // The right half has the longer names.
  const std::size_t width = columns * 9 / 20;
  Screen left = linesOf({groups.begin(), groups.begin() + kGroupsAtLeft}, width);
  Screen right =
      linesOf({groups.begin() + kGroupsAtLeft, groups.end()}, columns - width - kColumnGap);
  if (std::max(left.size(), right.size()) > rows) {
    std::erase_if(left, std::mem_fn(&ScreenLine::empty));
    std::erase_if(right, std::mem_fn(&ScreenLine::empty));
  }
  left.resize(std::max(left.size(), right.size()));
  for (std::size_t i = 0; i < right.size(); ++i) {
    for (Span& span : right[i]) {
      span.column += width + kColumnGap;
      left[i].push_back(std::move(span));
    }
  }
  return left;
}

class UsageReport : public LiveReport {
 public:
  explicit UsageReport(Platform& platform) : platform_(platform), sampler_(platform) {}

  void begin() override {
    sample_ = sampler_.sample();
    isNew_ = true;
  }
  bool take() override { return std::exchange(isNew_, false); }
  Json json() const override {
    return {{"usage",
             {{"processor", jsonLoad(sample_)},
              {"memory", jsonOf(sample_.memory)},
              {"disk", jsonOf(sample_.disk)},
              {"network", jsonNetwork(sample_)},
              {"battery", jsonOf(sample_.battery)},
              {"uptime",
               sample_.uptimeSeconds > 0 ? jsonNumber(sample_.uptimeSeconds) : Json(nullptr)}}}};
  }
  Screen lines(std::size_t columns, std::size_t rows) const override {
    KVSettingsSnapshot settings;
    const KVLocalized::Texts texts(settings, platform_);
    Screen lines =
        linesOf(usageText(sample_, texts, std::min(columns / 4, kMostBarColumns)), columns);
    if (rows == 0 || columns < kLeastTwoColumns || lines.size() - blankLines(lines) <= rows) {
      return lines;
    }
    Screen halves = inTwoColumns(usageText(sample_, texts, kShortBarColumns), columns, rows);
    return halves.size() <= rows ? halves : lines;
  }
  /// Whether the sample has nothing of the machine.
  bool isEmpty() const {
    return !sample_.load && accuracyOf(sample_.memory) == MemoryAccuracy::kUnknown &&
           sample_.disk.total == 0 && sample_.uptimeSeconds == 0 &&
           !sample_.battery.batteryInstalled;
  }

 private:
  Platform& platform_;
  UsageSampler sampler_;
  UsageSample sample_;
  bool isNew_ = false;
};

// Whether there was time to measure.
bool measure(UsageReport& report) {
  report.begin();
  return StopSignal().runUntil(std::chrono::steady_clock::now() + kNow);
}

int runUsage(const Options& options, StandardOutput& output) {
  const bool isOnce = !isWatched(options);
  const MachineChoice machine = chooseAnyMachine(options.machine);
  UsageReport report(machine.platform);
  // The counters of a recording never change: waiting would give no rate.
  const bool isMeasured = !isOnce || !machine.platform.isLive() || measure(report);
  if (!isMeasured || !show(report, options, machine, output)) {
    throw CommandError(kExitNothingRead, kInterrupted);
  }
  if (report.isEmpty()) {
    throw CommandError(kExitNothingRead,
                       machine.platform.title() + ": no usage of the machine could be read");
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> usageCommands() {
  return {{.name = "usage",
           .description = "Show the use of processor, memory, disk, network and battery",
           .example = "kelvora usage\n"
                      "  kelvora usage --watch --every 1\n"
                      "  kelvora usage --watch --json | jq .usage.processor.total",
           .machine = MachineUse::kOption,
           .arguments = watchArguments(),
           .run = runUsage}};
}

}  // namespace kelvora::tool
