#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/FanChangeLock.h"
#include "tools/kelvora/FanHolders.h"
#include "tools/kelvora/FansCommands.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

void sayOf(std::uint64_t fan, const std::string& text) {
  say("fan " + std::to_string(fan) + ": " + text);
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

// Empty of a fan that was not there.
FanState stateOf(const std::vector<FanState>& fans, std::uint64_t index) {
  const auto found = std::ranges::find(fans, index, &FanState::index);
  return found == fans.end() ? FanState() : *found;
}

// The mode that was written counts only if it is read, because another program may have set it
// again. An own holder has handed its fan back at its end.
FanWritten writtenTo(const FanState& before, const FanState& after, bool isWritten) {
  FanWritten written;
  if (after.isFixed == false && (isWritten || before.isFixed != false)) {
    written.isFixed = false;
  }
  if (before.raisedTo && (isWritten || !after.lease)) {
    written.minimum = before.minimum;
  }
  return written;
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

bool isTaken(const FanState& fan) {
  constexpr double kRounding = 1;
  return fan.isFixed == true || fan.raisedTo.value_or(0) >= fan.minimum.value_or(0) + kRounding;
}

bool hasUnreadableLease(const FanState& fan) {
  return fan.lease && fan.lease->processIdentifier == 0;
}

std::string faultOf(FanControl& control, const FanState& fan, const KVFanHandBack& handBack) {
  if (fan.isFixed == false) {
    return "";  // also if a tool was late, or its guardian was first
  }
  if (!handBack.fault.empty() && !control.hasModes() && hasUnreadableLease(fan)) {
    return handBack.fault +
           "; remove that file once the minimum is right (a restart of the Mac resets it)";
  }
  if (!handBack.fault.empty() && !KVUtils::smcExeOwnership(control.machine().platform)) {
    return "the privileged tool is not installed ('kelvora fans permit' installs it)";
  }
  if (!handBack.fault.empty()) {
    return handBack.fault;
  }
  if (isTaken(fan)) {
    return "it has been set again";
  }
  return handBack.isWritten && control.hasModes() && !fan.isFixed ? "its mode cannot be read" : "";
}

// Says what a user has to know of the fan, and returns the exit status.
int report(FanControl& control, const FanState& fan, const KVFanHandBack& handBack, bool wasHeld) {
  const std::string fault = faultOf(control, fan, handBack);
  if (!fault.empty()) {
    sayOf(fan.index, "not handed back: " + fault);
    return kExitNothingRead;
  }
  if (fan.lease && fan.lease->isLive) {
    sayOf(fan.index,
          "held by " + holderOf(*fan.lease) +
              (fan.lease->fault.empty() ? ", which may set it again" : ": " + fan.lease->fault));
  } else if (!control.hasModes() && !wasHeld) {
    sayOf(fan.index, "nothing to restore, no program of this account has raised its minimum");
  } else if (control.hasModes() && !fan.isFixed) {
    sayOf(fan.index, "nothing to hand back, the SMC has no mode for it");
  }
  return kExitSuccess;
}

// Handing a fan back is never refused: without the lock another command may set it again.
std::unique_ptr<FanChangeLock> lockIfPossible(Platform& platform) {
  try {
    return std::make_unique<FanChangeLock>(platform);
  } catch (const CommandError& error) {
    say(std::string(error.what()) + "; handing back all the same");
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
  const std::vector<KVFanHandBack> handBacks =
      KVFanLeases::handBack(fans, KVFanLeases::kLongestHandBack, control.machine().platform);
  control.readAgain();
  std::vector<FanChange> changes;
  for (const KVFanHandBack& handBack : handBacks) {
    const FanState& after = control.fan(handBack.fan);
    changes.push_back({writtenTo(stateOf(before, handBack.fan), after, handBack.isWritten), after});
  }
  writeChanges(options, output, control.machine(), FanEvent::kHandedBack, changes);
  for (const KVFanHandBack& handBack : handBacks) {
    const bool wasHeld = stateOf(before, handBack.fan).lease.has_value();
    status = std::max(status, report(control, control.fan(handBack.fan), handBack, wasHeld));
  }
  return status;
}

}  // namespace kelvora::tool
