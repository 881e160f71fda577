#include "tools/kelvora/FanHolders.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <set>

#include "KelvoraCore/BackgroundProgram.h"
#include "KelvoraCore/KVMainQueue.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

// Longer than a lease takes to hand back while its tool and its guardian hang.
constexpr std::chrono::seconds kLongestEnd{30};
// Longer than a guardian takes to hand back, if it is not stopped.
constexpr std::chrono::seconds kLongestHandBack{10};
constexpr std::chrono::milliseconds kHolderPause{10};

bool isAmong(const std::vector<std::uint64_t>& fans, std::uint64_t fan) {
  return std::ranges::find(fans, fan) != fans.end();
}

std::set<std::int64_t> holdersOf(const std::vector<std::uint64_t>& fans,
                                 const std::vector<KVLeasedFan>& leases) {
  std::set<std::int64_t> processes;
  for (const KVLeasedFan& lease : leases) {
    if (isOwnHolder(lease) && isAmong(fans, lease.fan)) {
      processes.insert(lease.processIdentifier);
    }
  }
  return processes;
}

// The leases that these processes still have, the first of each.
std::vector<KVLeasedFan> leasesOf(const std::set<std::int64_t>& processes, Platform& platform) {
  std::vector<KVLeasedFan> found;
  std::set<std::int64_t> seen;
  for (const KVLeasedFan& lease : KVFanLeases::leasedFans(platform)) {
    if (isOwnHolder(lease) && processes.contains(lease.processIdentifier) &&
        seen.insert(lease.processIdentifier).second) {
      found.push_back(lease);
    }
  }
  return found;
}

// Of a holder that was killed the guardian hands back.
void waitForGuardian(const std::vector<KVFanSpeed>& fans) {
  const auto isHeld = [&fans](const KVLeasedFan& lease) {
    return isOwnHolder(lease) && std::ranges::find(fans, lease.fan, &KVFanSpeed::fan) != fans.end();
  };
  const Clock::time_point deadline = Clock::now() + kLongestHandBack;
  while (std::ranges::any_of(KVFanLeases::leasedFans(), isHeld) && Clock::now() < deadline) {
    KVMainQueue::runUntil(Clock::now() + kHolderPause);
  }
}

int failed(const std::string& outcome) {
  say("the holder " + outcome);
  return kExitNothingRead;
}

// What the fan has as its holder's speed.
std::optional<double> heldSpeed(const FanState& fan) {
  return fan.raisedTo ? fan.raisedTo : fan.target;
}

}  // namespace

bool isOwnHolder(const KVLeasedFan& lease) {
  return lease.isLive && (lease.program == kLastingHolder || lease.program == kPassingHolder);
}

std::vector<KVFanSpeed> otherFansOfHolders(const std::vector<std::uint64_t>& fans,
                                           const std::vector<FanState>& states) {
  std::vector<KVLeasedFan> leases;
  for (const FanState& state : states) {
    if (state.lease) {
      leases.push_back(*state.lease);
    }
  }
  const std::set<std::int64_t> holders = holdersOf(fans, leases);
  std::vector<KVFanSpeed> others;
  for (const FanState& state : states) {
    const auto speed = heldSpeed(state);
    if (speed && state.lease && isOwnHolder(*state.lease) &&
        state.lease->program == kLastingHolder && !isAmong(fans, state.index) &&
        holders.contains(state.lease->processIdentifier)) {
      others.push_back({state.index, static_cast<std::uint64_t>(std::llround(*speed))});
    }
  }
  return others;
}

std::vector<KVFanSpeed> withoutHolder(const std::vector<KVFanSpeed>& fans,
                                      const std::vector<FanState>& states) {
  std::vector<KVFanSpeed> found;
  std::ranges::copy_if(fans, std::back_inserter(found), [&states](const KVFanSpeed& fan) {
    const auto state = std::ranges::find(states, fan.fan, &FanState::index);
    return state != states.end() && !(state->lease && isOwnHolder(*state->lease));
  });
  return found;
}

void reportHandedBack(const std::vector<FanState>& before, const std::vector<FanState>& after,
                      const std::vector<std::uint64_t>& expected) {
  for (const FanState& fan : before) {
    const auto now = std::ranges::find(after, fan.index, &FanState::index);
    const bool wasHeld = fan.lease && isOwnHolder(*fan.lease);
    if (wasHeld && now != after.end() && !now->lease && !isAmong(expected, fan.index)) {
      say("fan " + std::to_string(fan.index) + ": handed back, as its holder has ended");
    }
  }
}

std::vector<KVLeasedFan> endOwnHolders(const std::vector<std::uint64_t>& fans, Platform& platform) {
  const std::set<std::int64_t> processes = holdersOf(fans, KVFanLeases::leasedFans(platform));
  std::set<std::int64_t> asked;
  for (const std::int64_t process : processes) {
    // Of one that has ended already the guardian hands back.
    if (BackgroundProgram::askToEnd(process)) {
      asked.insert(process);
    }
  }
  const Clock::time_point start = Clock::now();
  const auto mayEnd = [&](const KVLeasedFan& lease) {
    const auto limit = asked.contains(lease.processIdentifier) ? kLongestEnd : kLongestHandBack;
    return Clock::now() < start + limit;
  };
  std::vector<KVLeasedFan> left = leasesOf(processes, platform);
  while (std::ranges::any_of(left, mayEnd)) {
    KVMainQueue::runUntil(Clock::now() + kHolderPause);
    left = leasesOf(processes, platform);
  }
  return left;
}

int startHolder(const std::vector<KVFanSpeed>& speeds, const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"fans", "hold", "--detach"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  for (const KVFanSpeed& speed : speeds) {
    arguments.push_back(std::to_string(speed.fan) + "=" + std::to_string(speed.speed));
  }
  const BackgroundProgram::Start start = BackgroundProgram::start(arguments);
  if (!start.fault.empty()) {
    return failed("cannot be started: " + start.fault);
  }
  constexpr int kOfSignals = 128;
  const int status = start.status.value_or(kExitSuccess);
  if (status < kOfSignals) {
    return status;
  }
  waitForGuardian(speeds);
  return failed("has been ended by signal " + std::to_string(status - kOfSignals));
}

}  // namespace kelvora::tool
