#include "tools/kelvora/LiveReport.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/StopSignal.h"

#include "tools/kelvora/LineGroup.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Terminal.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kShortestRepetition = 0.2;
constexpr double kLongestRepetition = 3600;

// When the sample after one at `time` is due. Samples that were missed, e.g. while the computer
// slept, are not taken later.
Clock::time_point nextTime(Clock::time_point time, const Options& options) {
  const auto every = options.seconds("--every");
  const std::chrono::duration<double> interval(every ? *every
                                                     : KVSettingsSnapshot().updateInterval());
  return std::max(time + std::chrono::duration_cast<Clock::duration>(interval), Clock::now());
}

Json jsonOf(const LiveReport& report, const MachineChoice& machine) {
  Json json = {{"machine", jsonMachine(machine.platform)}};
  json.update(report.json());
  return json;
}

void writeBlock(const LiveReport& report, const MachineChoice& machine, StandardOutput& output) {
  const auto columns = static_cast<std::size_t>(output.columns());
  writeText(output,
            machineLine(machine, columns) + textOf(report.lines(columns, 0), Style(output)));
}

// Waits for a sample; false once the program is to stop.
bool takeSample(LiveReport& report, StopSignal& stop) {
  constexpr std::chrono::milliseconds kLook(5);
  report.begin();
  while (!report.take()) {
    if (!stop.runUntil(Clock::now() + kLook)) {
      return false;
    }
  }
  return true;
}

bool showOnce(LiveReport& report, const Options& options, const MachineChoice& machine,
              StandardOutput& output) {
  StopSignal stop;
  if (!takeSample(report, stop)) {
    return false;
  }
  if (options.json) {
    writeJson(output, jsonOf(report, machine));
  } else {
    writeBlock(report, machine, output);
  }
  return true;
}

void writeInterval(const LiveReport& report, const Options& options, const MachineChoice& machine,
                   StandardOutput& output) {
  if (options.json) {
    writeJsonLine(output, jsonOf(report, machine));
  } else {
    writeText(output, isoTime(std::chrono::system_clock::now()) + "\n");
    writeBlock(report, machine, output);
    writeText(output, "\n");
  }
}

void writeIntervals(LiveReport& report, const Options& options, const MachineChoice& machine,
                    StandardOutput& output) {
  StopSignal stop;
  Clock::time_point time = Clock::now();
  while (takeSample(report, stop)) {
    writeInterval(report, options, machine, output);
    time = nextTime(time, options);
    if (!stop.runUntil(time)) {
      return;
    }
  }
}

/// The report on a terminal's screen. What does not fit is scrolled to.
class ReportScreen {
 public:
  ReportScreen(LiveReport& report, const MachineChoice& machine, StandardOutput& output,
               const std::string& alternative)
      : report_(report), machine_(machine), terminal_(output, alternative) {}

  void run(const Options& options) {
    Clock::time_point next = Clock::now();
    bool isOver = false;
    while (!isOver) {
      if (Clock::now() >= next) {
        report_.begin();
        next = nextTime(next, options);
      }
      report_.take();
      draw();
      const Terminal::Event event = terminal_.waitUntil(next);
      isOver = event == Terminal::Event::kStop || (event == Terminal::Event::kKeys && endsByKey());
    }
  }

 private:
  void draw() {
    const auto columns = static_cast<std::size_t>(terminal_.size().columns);
    const auto rows = static_cast<std::size_t>(terminal_.size().rows);
    Screen lines = report_.lines(columns, std::max<std::size_t>(rows, 2) - 1);
    if (lines.size() >= rows) {
      std::erase_if(lines, [](const ScreenLine& line) { return line.empty(); });
    }
    const std::size_t shown = std::min(rows - 1, lines.size());
    last_ = lines.size() - shown;
    first_ = std::min(first_, last_);
    page_ = std::max<std::size_t>(shown, 1);
    Screen screen{titleLine(columns)};
    const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(first_);
    std::move(begin, begin + static_cast<std::ptrdiff_t>(shown), std::back_inserter(screen));
    terminal_.draw(screen);
  }
  // "MacBook Pro 15-inch 2018 (recorded)            q quits"
  ScreenLine titleLine(std::size_t columns) const {
    KVSettingsSnapshot settings;
    const KVLocalized::Texts texts(settings, machine_.platform);
    const std::string hint = localizedText("usage-quit-hint", "q quits", texts);
    const std::string title = machineTitle(machine_, texts);
    const std::size_t hintWidth = displayWidth(hint) + 2;
    const bool hasHint = columns >= 2 * hintWidth;
    return {{0, hasHint ? fitted(title, columns - hintWidth) + "  " + hint : fitted(title, columns),
             Tone::kTitle}};
  }
  bool endsByKey() {
    bool isEnd = false;
    while (const auto key = terminal_.nextKey()) {
      isEnd = isEnd || key->kind == Key::Kind::kEscape || key->text == "q" || key->text == "Q";
      first_ = scrolled(first_, key->kind, last_, page_);
    }
    return isEnd;
  }

  LiveReport& report_;
  const MachineChoice& machine_;
  Terminal terminal_;
  std::size_t first_ = 0;  // line at the top
  std::size_t last_ = 0;   // line at the top of the end
  std::size_t page_ = 1;   // lines that fit
};

}  // namespace

std::vector<Argument> watchArguments() {
  return {{.name = "--watch",
           .kind = Argument::Kind::kFlag,
           .description = "Again and again; on a terminal until q, Esc or an interrupt"},
          {.name = "--every",
           .kind = Argument::Kind::kDuration,
           .description = "With --watch: time between samples, 0.2 s to 1 h, in place of the "
                          "setting updateFrequency"}};
}

bool isWatched(const Options& options) {
  const auto every = options.seconds("--every");
  if (every && !options.has("--watch")) {
    throw CommandError(kExitUsage, "--every needs --watch");
  }
  if (every && !(*every >= kShortestRepetition && *every <= kLongestRepetition)) {
    throw CommandError(kExitUsage, "--every takes 0.2 to 3600 seconds, e.g. 0.5, 5 or 1m");
  }
  return options.has("--watch");
}

bool show(LiveReport& report, const Options& options, const MachineChoice& machine,
          StandardOutput& output) {
  if (!isWatched(options)) {
    return showOnce(report, options, machine, output);
  }
  if (output.isTerminal() && !options.json) {
    ReportScreen(report, machine, output, "without --watch it is shown once").run(options);
  } else {
    writeIntervals(report, options, machine, output);
  }
  return true;
}

}  // namespace kelvora::tool
