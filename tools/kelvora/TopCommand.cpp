#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/CPUReader.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/LiveReport.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"
#include "tools/kelvora/UsageText.h"

namespace kelvora::tool {

namespace {

constexpr std::int64_t kUsualCount = 10;
constexpr std::int64_t kMostCount = 10000;

constexpr std::size_t kIdentifierColumns = 9;
constexpr std::size_t kUsageColumns = 9;
constexpr std::size_t kGap = 2;
constexpr std::size_t kMostBarColumns = 20;

/// Keeps what a reader lists.
class Listener : public CPUReaderDelegate {
 public:
  void cpuReaderDidReadTopProcesses(CPUReader&,
                                    const std::vector<CPUTopProcess>& processes) override {
    list = processes;
  }
  std::optional<std::vector<CPUTopProcess>> list;
};

Json jsonOf(const CPUTopProcess& process) {
  return {{"pid", process.pid},
          {"command", process.command},
          {"name", process.name ? Json(*process.name) : Json(nullptr)},
          {"usage", jsonNumber(process.usage)}};
}

std::string percentText(double percent) {
  std::array<char, 400> text{};
  std::snprintf(text.data(), text.size(), "%.1f %%", percent);
  return std::isfinite(percent) ? text.data() : "–";
}

class TopReport : public LiveReport {
 public:
  TopReport(Platform& platform, std::int64_t count) : platform_(platform), reader_(platform) {
    reader_.setNumberOfProcesses(count);
    reader_.setDelegate(listener_);
    reader_.setup();
  }

  void sample() override {
    listener_->list.reset();
    reader_.read();
  }
  Json json() const override {
    Json processes = Json::array();
    for (const CPUTopProcess& process : listed()) {
      processes.push_back(jsonOf(process));
    }
    return {{"processes", processes}};
  }
  Screen lines(std::size_t columns) const override {
    KVSettingsSnapshot settings;
    const KVLocalized::Texts texts(settings, platform_);
    Screen screen(1);
    screen.push_back(
        {{0, rightAligned("PID", kIdentifierColumns) + rightAligned("CPU", kUsageColumns),
          Tone::kHeading},
         {nameColumn(columns), localizedText("usage-process", "Process", texts), Tone::kHeading}});
    for (const CPUTopProcess& process : listed()) {
      screen.push_back(lineOf(process, columns));
    }
    return screen;
  }
  bool isListed() const { return listener_->list && !listener_->list->empty(); }

 private:
  std::vector<CPUTopProcess> listed() const {
    return listener_->list.value_or(std::vector<CPUTopProcess>());
  }
  static std::size_t barColumns(std::size_t columns) {
    return std::min(columns / 4, kMostBarColumns);
  }
  static std::size_t nameColumn(std::size_t columns) {
    const std::size_t bar = barColumns(columns);
    return kIdentifierColumns + kUsageColumns + kGap + (bar == 0 ? 0 : bar + kGap);
  }
  static ScreenLine lineOf(const CPUTopProcess& process, std::size_t columns) {
    constexpr double kWholeProcessor = 100;
    ScreenLine line{{0, rightAligned(std::to_string(process.pid), kIdentifierColumns)},
                    {kIdentifierColumns, rightAligned(percentText(process.usage), kUsageColumns)}};
    if (const std::size_t bar = barColumns(columns)) {
      line.push_back({kIdentifierColumns + kUsageColumns + kGap,
                      barText(process.usage / kWholeProcessor, bar),
                      toneOf(process.usage / kWholeProcessor)});
    }
    const std::string name = printable(process.name.value_or(process.command));
    const std::size_t start = nameColumn(columns);
    const bool isTooLong = columns > 0 && start + displayWidth(name) > columns;
    line.push_back({start, isTooLong ? fitted(name, std::max(columns, start) - start) : name});
    return line;
  }

  Platform& platform_;
  CPUReader reader_;
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
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
  TopReport report(machine.platform, count);
  show(report, options, machine, output);
  if (!report.isListed()) {
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
