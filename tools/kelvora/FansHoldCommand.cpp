#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "KelvoraCore/BackgroundProgram.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/StopSignal.h"

#include "tools/kelvora/FanControl.h"
#include "tools/kelvora/FanHolders.h"
#include "tools/kelvora/FansCommands.h"
#include "tools/kelvora/FansReport.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLongestHold = 100.0 * 365 * 86400;

// A lease may miss a renewal and is still held.
constexpr int kRenewalsInTimeout = 3;

Clock::time_point endOf(const Options& options) {
  const double seconds = options.seconds("--for").value_or(kLongestHold);
  if (!(seconds > 0)) {
    throw CommandError(kExitUsage, "--for takes a time above 0, e.g. 10m");
  }
  return Clock::now() + std::chrono::duration_cast<Clock::duration>(
                            std::chrono::duration<double>(std::min(seconds, kLongestHold)));
}

void take(KVFanLease& lease, const std::vector<KVFanSpeed>& speeds, Platform& platform) {
  if (lease.take(speeds)) {
    return;
  }
  const bool lacksPermission = platform.isLive() && !KVUtils::isSMCPermissionGranted(platform);
  throw CommandError(
      lease.isHeldElsewhere() ? kExitElsewhere : kExitNothingRead,
      lease.fault() + (lacksPermission ? " ('kelvora fans permit' gives the tool its "
                                         "permission)"
                                       : ""));
}

// A hand-back is tried until it succeeds; what is in its way is said once.
void release(KVFanLease& lease) {
  std::string said;
  while (!lease.release()) {
    if (lease.fault() != said) {
      said = lease.fault();
      say(said + "; trying again");
    }
  }
}

// Until the end, or a request to end. Throws CommandError when the lease is lost.
void keep(KVFanLease& lease, StopSignal& stop, Clock::time_point end) {
  const auto period = KVFanLeaseOptions().timeout / kRenewalsInTimeout;
  while (Clock::now() < end && stop.runUntil(std::min(Clock::now() + period, end))) {
    if (lease.renew() != KVFanLeaseState::kHeld) {
      const std::string fault = lease.fault();
      release(lease);
      throw CommandError(kExitNothingRead,
                         "the fans are no longer held: " + fault + "; they are handed back");
    }
  }
}

std::vector<FanChange> handedBack(FanControl& control, const std::vector<KVFanSpeed>& speeds) {
  control.readAgain();
  std::vector<FanChange> changes;
  for (const KVFanSpeed& speed : speeds) {
    const FanState& fan = control.fan(speed.fan);
    changes.push_back(
        {control.hasModes() ? FanWritten{.isFixed = false} : FanWritten{.minimum = fan.minimum},
         fan});
  }
  return changes;
}

int holdUntilEnd(const Options& options, StandardOutput& output,
                 const std::vector<KVFanSpeed>& speeds) {
  const Clock::time_point end = endOf(options);
  StopSignal stop;
  FanControl control(options, output);
  control.requireSettable(speeds);
  KVFanLeaseOptions leaseOptions;
  const bool isDetached = options.has("--detach");
  leaseOptions.program = isDetached && !options.has("--for") ? kLastingHolder : kPassingHolder;
  KVFanLease lease(control.controller(), leaseOptions);
  take(lease, speeds, control.machine().platform);
  if (isDetached) {
    BackgroundProgram::detach(output);
  } else {
    writeChanges(options, output, control.machine(), FanEvent::kHeld, changesTo(control, speeds),
                 /*isOneOfMany=*/true);
    say("holding; an interrupt (Ctrl-C) hands the fans back");
  }
  keep(lease, stop, end);
  release(lease);
  if (!isDetached) {
    writeChanges(options, output, control.machine(), FanEvent::kHandedBack,
                 handedBack(control, speeds), /*isOneOfMany=*/true);
  }
  return kExitSuccess;
}

int holdInBackground(const Options& options, StandardOutput& output,
                     const std::vector<KVFanSpeed>& speeds) {
  endOf(options);  // refuses a wrong one
  FanControl control(options, output);
  control.requireSettable(speeds);
  std::vector<std::string> more;
  if (options.has("--for")) {
    more = {"--for", options.text("--for")};
  }
  const int status = startHolder(speeds, more);
  if (status == kExitSuccess) {
    writeHeld(options, output, control, speeds);
  }
  return status;
}

}  // namespace

std::vector<FanChange> changesTo(FanControl& control, const std::vector<KVFanSpeed>& speeds) {
  control.readAgain();
  std::vector<FanChange> changes;
  for (const KVFanSpeed& speed : speeds) {
    const auto written = static_cast<double>(speed.speed);
    changes.push_back({control.hasModes() ? FanWritten{.isFixed = true, .target = written}
                                          : FanWritten{.minimum = written},
                       control.fan(speed.fan)});
  }
  return changes;
}

void writeHeld(const Options& options, StandardOutput& output, FanControl& control,
               const std::vector<KVFanSpeed>& speeds) {
  try {
    writeChanges(options, output, control.machine(), FanEvent::kHeld, changesTo(control, speeds));
  } catch (const CommandError& error) {
    throw CommandError(error.status, std::string(error.what()) +
                                         "; the fans are held ('kelvora fans auto' hands them "
                                         "back)");
  }
}

int runFansHold(const Options& options, StandardOutput& output) {
  const std::vector<KVFanSpeed> speeds = parsedFanSpeeds(options.texts("FAN"));
  return options.has("--background") ? holdInBackground(options, output, speeds)
                                     : holdUntilEnd(options, output, speeds);
}

}  // namespace kelvora::tool
