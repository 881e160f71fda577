#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/KVProcessLock.h"
#include "KelvoraCore/SensorController.h"
#include "KelvoraCore/StopSignal.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/RecordHistoryReport.h"
#include "tools/kelvora/Recording.h"
#include "tools/kelvora/Report.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kShortestInterval = 1;
constexpr double kLongestInterval = 3600;

// Without an end: what no clock reaches.
constexpr double kLongestRecording = 100.0 * 365 * 86400;

std::optional<double> intervalOf(const Options& options) {
  const auto every = options.number("--every");
  if (every && !(*every >= kShortestInterval && *every <= kLongestInterval)) {
    throw CommandError(kExitUsage, "--every takes 1 to 3600 seconds");
  }
  return every;
}

Seconds durationOf(const Options& options) {
  const double seconds = options.seconds("--for").value_or(kLongestRecording);
  if (!(seconds > 0)) {
    throw CommandError(kExitUsage, "--for takes a time above 0, e.g. 10m");
  }
  return Seconds(std::min(seconds, kLongestRecording));
}

Platform& chooseRecordedMachine(const Options& options) {
  const MachineChoice machine = chooseMachine(options.machine);
  if (machine.isStandIn) {
    throw CommandError(kExitNothingRead,
                       "no Apple hardware here; --machine names a recorded Mac to record");
  }
  return machine.platform;
}

void requireLock(const KVProcessLock& lock) {
  if (lock.state() == KVProcessLock::State::kHeldElsewhere) {
    throw CommandError(kExitElsewhere, "another program records the history already");
  }
  if (lock.state() == KVProcessLock::State::kFailed) {
    throw CommandError(kExitNothingRead, "the history cannot be locked: " + lock.fault());
  }
}

/// The recording of a machine until its end, and what is printed of it.
class ReportedRecording {
 public:
  ReportedRecording(Platform& platform, RecordHistoryReport& report)
      : platform_(platform), report_(report), recording_(platform, controller_) {}

  /// Until a signal, or until `duration` after the first sample.
  void run(StopSignal& stop, std::optional<double> every, Seconds duration) {
    Clock::time_point next = Clock::now();
    const Clock::time_point end = next + std::chrono::duration_cast<Clock::duration>(duration);
    do {
      sample();
      const Seconds interval(every ? *every : recording_.manager().updateInterval());
      // Samples that were missed, e.g. while the computer slept, are not taken later.
      next = std::max(next + std::chrono::duration_cast<Clock::duration>(interval), Clock::now());
    } while (stop.runUntil(std::min(next, end)) && next < end);
  }

  int finish() {
    const HistoryRecorder::Outcome outcome = recording_.finish();
    report_.end(std::chrono::system_clock::now(), outcome);
    if (outcome.waiting > 0) {
      throw CommandError(kExitNothingRead, "not everything was saved: " + outcome.fault);
    }
    return kExitSuccess;
  }

 private:
  void sample() {
    const auto instant = std::chrono::system_clock::now();
    const Recording::Sample sample = recording_.sample(instant);
    if (!recording_.isBegun()) {
      throw CommandError(kExitNothingRead, platform_.title() + ": no sensor could be read");
    }
    report_.sample(instant, sample.outcome, sample.logFault);
    for (const FiredRule& fired : sample.fired) {
      report_.rule(instant, fired);
    }
  }

  Platform& platform_;
  RecordHistoryReport& report_;
  SensorController controller_;
  Recording recording_;
};

int runRecordHistory(const Options& options, StandardOutput& output) {
  const std::optional<double> every = intervalOf(options);
  const Seconds duration = durationOf(options);
  StopSignal stop;
  Platform& platform = chooseRecordedMachine(options);
  const KVProcessLock lock(KVHistoryRecordingLock, platform);
  requireLock(lock);
  output.discardMessages(!platform.isLive());
  RecordHistoryReport report(output, options.json);
  say("recording; an interrupt (Ctrl-C) ends it");
  ReportedRecording recording(platform, report);
  recording.run(stop, every, duration);
  return recording.finish();
}

}  // namespace

std::vector<Command> recordHistoryCommands() {
  return {{.name = "record-history",
           .description = "Keep the history of every sensor, until interrupted",
           .example = "kelvora record-history\n"
                      "  kelvora record-history --for 10m --every 5 --json",
           .machine = MachineUse::kOption,
           .arguments = {{.name = "--for",
                          .kind = Argument::Kind::kDuration,
                          .description = "End after this time, e.g. 90, 10m, 2h or 1d"},
                         {.name = "--every",
                          .kind = Argument::Kind::kNumber,
                          .description = "Seconds between samples, 1 to 3600, in place of the "
                                         "setting updateFrequency",
                          .typeName = "SECONDS"}},
           .run = runRecordHistory}};
}

}  // namespace kelvora::tool
