#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/CPUReader.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/LiveReport.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"
#include "tools/kelvora/UsageText.h"
#include "tools/kelvora/WatchSampler.h"

namespace kelvora::tool {

namespace {

constexpr std::int64_t kUsualCount = 10;
constexpr std::int64_t kMostCount = 10000;

/// The columns of a list on a terminal; 0 is a pipe or file.
struct ListColumns {
  explicit ListColumns(std::size_t terminal) {
    constexpr std::size_t kLeastWithBars = 40;
    constexpr std::size_t kMostBar = 20;
    if (terminal == 0) {
      return;
    }
    if (terminal >= kLeastWithBars) {
      bar = std::min(terminal / 4, kMostBar);
    } else {
      identifier = 7;
      usage = 8;
      gap = 1;
    }
    name = std::max(terminal, nameStart()) - nameStart();
  }
  std::size_t barStart() const { return identifier + usage + gap; }
  std::size_t nameStart() const { return barStart() + (bar == 0 ? 0 : bar + gap); }
  std::string nameText(const std::string& text) const {
    return name && displayWidth(text) > *name ? fitted(text, *name) : text;
  }

  std::size_t identifier = 9;
  std::size_t usage = 9;
  std::size_t gap = 2;
  std::size_t bar = 0;
  std::optional<std::size_t> name;  // none is no limit
};

Json jsonOf(const CPUTopProcess& process) {
  return {{"pid", process.pid},
          {"command", process.command},
          {"name", orNull(process.name)},
          {"usage", jsonNumber(process.usage)}};
}

std::string percentText(double percent) {
  return std::isfinite(percent) ? fixedText(percent, 1) + " %" : kNoValue;
}

class TopReport : public LiveReport {
 public:
  /// `sampler` must outlive the object.
  TopReport(Platform& platform, WatchSampler& sampler, std::int64_t count)
      : platform_(platform), sampler_(sampler), count_(count) {}

  void begin() override { sampler_.readProcesses(count_); }
  bool take() override {
    auto processes = sampler_.takeProcesses();
    if (!processes) {
      return false;
    }
    list_ = std::move(*processes).value_or(std::vector<CPUTopProcess>());
    hasNothing_ = list_.empty();
    return true;
  }
  Json json() const override {
    Json processes = Json::array();
    for (const CPUTopProcess& process : list_) {
      processes.push_back(jsonOf(process));
    }
    return {{"processes", processes}};
  }
  Screen lines(std::size_t columns, std::size_t /*rows*/) const override {
    KVSettingsSnapshot settings;
    const KVLocalized::Texts texts(settings, platform_);
    const ListColumns list(columns);
    Screen screen(1);
    screen.push_back(
        {{0, rightAligned("PID", list.identifier) + rightAligned("CPU", list.usage),
          Tone::kHeading},
         {list.nameStart(), list.nameText(localizedText("usage-process", "Process", texts)),
          Tone::kHeading}});
    for (const CPUTopProcess& process : list_) {
      screen.push_back(lineOf(process, list));
    }
    return screen;
  }
  /// Whether the last sample is without a process.
  bool hasNothing() const { return hasNothing_; }

 private:
  static ScreenLine lineOf(const CPUTopProcess& process, const ListColumns& list) {
    constexpr double kWholeProcessor = 100;
    ScreenLine line{{0, rightAligned(std::to_string(process.pid), list.identifier)},
                    {list.identifier, rightAligned(percentText(process.usage), list.usage)}};
    if (list.bar > 0) {
      line.push_back({list.barStart(), barText(process.usage / kWholeProcessor, list.bar),
                      toneOf(process.usage / kWholeProcessor)});
    }
    line.push_back(
        {list.nameStart(), list.nameText(printable(process.name.value_or(process.command)))});
    return line;
  }

  Platform& platform_;
  WatchSampler& sampler_;
  std::int64_t count_;
  std::vector<CPUTopProcess> list_;
  bool hasNothing_ = false;
};

std::int64_t countOf(const Options& options) {
  const double count = options.number("-n").value_or(kUsualCount);
  if (!(count >= 1 && count <= kMostCount) || count != std::floor(count)) {
    throw CommandError(kExitUsage, "-n takes a whole number from 1 to 10000");
  }
  return static_cast<std::int64_t>(count);
}

int runTop(const Options& options, StandardOutput& output) {
  const std::int64_t count = countOf(options);
  isWatched(options);  // refuses a wrong interval before a machine is read
  const MachineChoice machine = chooseAnyMachine(options.machine);
  WatchSampler sampler(machine.platform);
  TopReport report(machine.platform, sampler, count);
  const bool isShown = show(report, options, machine, output);
  sampler.endOrExit(isShown ? kExitSuccess : kExitNothingRead);
  if (!isShown) {
    throw CommandError(kExitNothingRead, kInterrupted);
  }
  if (report.hasNothing()) {
    throw CommandError(kExitNothingRead, machine.platform.title() + ": no process could be listed");
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> topCommands() {
  std::vector<Argument> arguments{{.name = "-n",
                                   .kind = Argument::Kind::kNumber,
                                   .description = "How many, 1 to 10000; 10 without it",
                                   .typeName = "COUNT"}};
  std::ranges::move(watchArguments(), std::back_inserter(arguments));
  return {{.name = "top",
           .description = "List the processes that use the processor most",
           .example = "kelvora top -n 5\n"
                      "  kelvora top --watch",
           .machine = MachineUse::kOption,
           .arguments = std::move(arguments),
           .run = runTop}};
}

}  // namespace kelvora::tool
