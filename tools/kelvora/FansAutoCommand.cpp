#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/FanChangeLock.h"
#include "tools/kelvora/FanHolders.h"
#include "tools/kelvora/FansCommands.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

void say(std::uint64_t fan, const std::string& text) {
  const std::string line = "fan " + std::to_string(fan) + ": " + text;
  std::fprintf(stderr, "kelvora: %s\n", printable(line).c_str());
}

std::vector<std::uint64_t> chosenFans(const FanControl& control,
                                      const std::vector<std::string>& words) {
  std::set<std::uint64_t> fans;
  for (const std::string& word : words) {
    if (word != "all") {
      fans.insert(control.fan(parsedFan(word)).index);
      continue;
    }
    for (const FanState& fan : control.fans()) {
      fans.insert(fan.index);
    }
  }
  return {fans.begin(), fans.end()};
}

// On a machine without modes, of a lease that cannot be read.
bool lacksEarlierMinimum(const FanState& fan, bool hasModes) {
  return !hasModes && fan.lease && !fan.lease->minimum;
}

// Whether the fan is the system's: by its mode, or because nothing raises its minimum.
bool isBack(const FanState& fan, bool hasModes) {
  constexpr double kRounding = 1;  // a speed is written in whole revolutions
  if (hasModes) {
    return fan.isFixed == false;
  }
  return !lacksEarlierMinimum(fan, hasModes) &&
         (!fan.raisedTo || *fan.raisedTo < fan.minimum.value_or(0) + kRounding);
}

std::uint64_t wholeSpeed(double speed) {
  return static_cast<std::uint64_t>(std::llround(std::max(0.0, speed)));
}

// Returns the speed that was written; none if nothing was, or it failed.
std::optional<double> handBack(FanControl& control, const FanState& fan) {
  if (!control.hasModes() && !fan.raisedTo) {
    return std::nullopt;
  }
  const std::uint64_t minimum = wholeSpeed(fan.minimum.value_or(0));
  const bool isWritten = control.controller().setSpeed(minimum, fan.index, /*autoMode=*/true);
  return isWritten ? std::optional(static_cast<double>(minimum)) : std::nullopt;
}

// The controller reports the last of its writes; whether the mode was written is read. An own
// holder has handed its fan back at its end.
FanWritten writtenTo(const FanState& before, const FanState& after, bool hasModes,
                     std::optional<double> speed) {
  if (!hasModes) {
    const bool isRestored = before.raisedTo && !after.lease;
    return {.minimum = isRestored ? before.minimum : speed};
  }
  const bool isChanged = speed || before.isFixed != false;
  return {.isFixed = isChanged && after.isFixed == false ? std::optional(false) : std::nullopt,
          .target = speed};
}

// Ends the own holders of the fans; their other fans stay at their speeds in a holder of their own.
// Returns the exit status.
int endHolders(FanControl& control, const std::vector<std::uint64_t>& fans) {
  const std::vector<KVFanSpeed> others = otherFansOfHolders(fans, control.fans());
  endOwnHolders(fans, control.machine().platform);
  control.readAgain();
  const std::vector<KVFanSpeed> left = withoutHolder(others, control.fans());
  return left.empty() ? kExitSuccess : startHolder(left);
}

// Empty for a fan that is back.
std::string faultOf(FanControl& control, const FanState& fan) {
  if (isBack(fan, control.hasModes())) {
    return "";
  }
  if (control.hasModes() && !fan.isFixed) {
    return ": its mode cannot be read";
  }
  if (lacksEarlierMinimum(fan, control.hasModes())) {
    return ": the minimum that it had before is not known: " + fan.lease->fault +
           "; remove that file once the minimum is right (a restart of the Mac resets it)";
  }
  return KVUtils::smcExeOwnership(control.machine().platform)
             ? ": the privileged tool could not write it"
             : ": the privileged tool is not installed ('kelvora fans permit' installs it)";
}

// Says what a user has to know of the fan, and returns the exit status.
int report(FanControl& control, const FanState& fan, bool wasHeld) {
  const std::string fault = faultOf(control, fan);
  if (!fault.empty()) {
    say(fan.index, "not handed back" + fault);
    return kExitNothingRead;
  }
  if (fan.lease && fan.lease->isLive) {
    say(fan.index,
        "held by " + holderOf(*fan.lease) +
            (fan.lease->fault.empty() ? ", which may set it again" : ": " + fan.lease->fault));
  } else if (!control.hasModes() && !wasHeld) {
    say(fan.index, "nothing to restore, no program of this account has raised its minimum");
  }
  return kExitSuccess;
}

// Handing a fan back is never refused: without the lock another command may set it again.
std::unique_ptr<FanChangeLock> lockIfPossible(Platform& platform) {
  try {
    return std::make_unique<FanChangeLock>(platform);
  } catch (const CommandError& error) {
    std::fprintf(stderr, "kelvora: %s; handing back all the same\n", error.what());
    return nullptr;
  }
}

}  // namespace

int runFansAuto(const Options& options, StandardOutput& output) {
  FanControl control(options, output);
  const std::vector<std::uint64_t> fans = chosenFans(control, options.texts("INDEX"));
  const auto lock = lockIfPossible(control.machine().platform);
  control.readAgain();
  const std::vector<FanState> before = control.fans();
  int status = endHolders(control, fans);
  control.readAgain();
  reportHandedBack(before, control.fans(), fans);
  std::vector<std::optional<double>> speeds;
  speeds.reserve(fans.size());
  for (const std::uint64_t fan : fans) {
    speeds.push_back(handBack(control, control.fan(fan)));
  }
  control.readAgain();
  std::vector<FanChange> changes;
  for (std::size_t i = 0; i < fans.size(); ++i) {
    const FanState& after = control.fan(fans[i]);
    changes.push_back({writtenTo(before.at(fans[i]), after, control.hasModes(), speeds[i]), after});
  }
  writeChanges(options, output, control.machine(), FanEvent::kHandedBack, changes);
  for (const std::uint64_t fan : fans) {
    status = std::max(status, report(control, control.fan(fan), before.at(fan).lease.has_value()));
  }
  return status;
}

}  // namespace kelvora::tool
