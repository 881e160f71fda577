#include "fans/LeasedFan.h"

#include <cstdlib>
#include <string>
#include <utility>

#include "KelvoraCore/KVProcessLock.h"

#include "fans/LeaseMachine.h"
#include "fans/LeaseRecord.h"
#include "fans/ToolWrites.h"
#include "hardware/FanKeys.h"
#include "hardware/KeyReading.h"
#include "ports/GuardChannel.h"
#include "sysinfo/ModelQuery.h"

namespace kelvora {

namespace {

constexpr char kMayBeSetAgain[] =
    "its holder, or a privileged tool that sets it, still runs and may set it again";

std::string isSilent(const LeaseReading& reading) {
  const std::int64_t guardian = reading.record ? reading.record->guardian : 0;
  return "its holder has ended, and its guardian" +
         (guardian > 0 ? " (process " + std::to_string(guardian) + ")" : "") + " does not answer";
}

std::optional<double> minimumIn(const FanWrite& handBack) {
  if (!handBack.key.ends_with("Mn")) {
    return std::nullopt;
  }
  constexpr double kQuarters = 4;
  return static_cast<double>(std::strtoull(handBack.value.c_str(), nullptr, 16)) / kQuarters;
}

KVLeasedFan described(std::uint64_t fan, const LeaseReading& reading, bool isLive) {
  KVLeasedFan leased;
  leased.fan = fan;
  leased.isLive = isLive;
  leased.fault = reading.fault;
  if (reading.record) {
    leased.program = reading.record->program;
    leased.processIdentifier = reading.record->processIdentifier;
    leased.since = reading.record->since;
    leased.minimum = minimumIn(reading.record->fan.handBack);
    leased.fault = reading.record->fault;
  }
  return leased;
}

bool isRunning(const KVProcessLock& holder) {
  return holder.state() == KVProcessLock::State::kHeldElsewhere;
}

std::string faultOf(const KVProcessLock& holder) {
  return isRunning(holder) ? kMayBeSetAgain : holder.fault();
}

// A program that looks has a lock for a moment, so it is waited for; but not while the process
// runs that has it for as long as it runs.
std::chrono::milliseconds waitFor(std::int64_t process) {
  return platform::isRunning(process) ? std::chrono::milliseconds(0) : KVProcessLock::kLongestWait;
}

KVProcessLock guardianLock(Platform& platform, std::uint64_t fan, const LeaseReading& reading) {
  return KVProcessLock(leaseName(fan), platform,
                       waitFor(reading.record ? reading.record->guardian : 0));
}

KVProcessLock holderLock(Platform& platform, std::uint64_t fan, const LeaseReading& reading) {
  return KVProcessLock(holderLockName(fan), platform,
                       waitFor(reading.record ? reading.record->processIdentifier : 0));
}

// A guardian whose holder has ended hands back while its lock is waited for, unless it is stopped
// or its tool hangs.
std::string faultOfGuardian(Platform& platform, std::uint64_t fan, const LeaseReading& reading,
                            const KVProcessLock& holder) {
  if (holder.state() != KVProcessLock::State::kHeld) {
    return "";
  }
  const KVProcessLock guardian(leaseName(fan), platform);
  return guardian.state() == KVProcessLock::State::kHeldElsewhere ? isSilent(reading) : "";
}

// Of a lease that cannot be read only the mode is known, on machines whose fans are set by one.
std::optional<FanWrite> handBackOf(Platform& platform, std::uint64_t fan,
                                   const LeaseReading& reading) {
  if (reading.record) {
    return reading.record->fan.handBack;
  }
  const FanWrite mode = handBackWrite(FanScheme::kModeAndTarget, 0, fan);
  return queryT2ChipSupport(platform) && isReadable(platform, mode.key) ? std::optional(mode)
                                                                        : std::nullopt;
}

LeaseMachine machineOfLease(Platform& platform, const LeaseReading& reading) {
  return whereIs(platform, reading.record ? reading.record->machine : "");
}

// Its fan is not this machine's of the same number, nor is its minimum.
KVLeasedFan ofAnotherMachine(KVLeasedFan fan, const LeaseRecord& record) {
  fan.minimum.reset();
  fan.fault = "is a fan of " + record.machine + ", not of this machine";
  return fan;
}

// Under the fan's lock. A hand-back counts only if it began after the last process that may set the
// fan had ended.
std::string handBack(Platform& platform, std::uint64_t fan, const LeaseReading& reading,
                     const KVProcessLock& holder) {
  const auto write = handBackOf(platform, fan, reading);
  if (!write) {
    return reading.fault;
  }
  std::vector<ToolWrites::HandBack> handBack = {{*write}};
  ToolWrites(platform, KVFanLeases::kLongestHandBack).handBack(handBack);
  const std::string fault = handBack[0].fault.empty() ? faultOf(holder) : handBack[0].fault;
  return fault.empty() ? removeLease(platform, fan) : fault;
}

}  // namespace

FanHandBack handBackOfFan(Platform& platform, std::uint64_t fan, FanScheme scheme) {
  const LeaseReading reading = readLease(platform, fan);
  const bool isHere = machineOfLease(platform, reading) == LeaseMachine::kThis;
  if (scheme == FanScheme::kModeAndTarget) {
    FanWrite mode = handBackWrite(scheme, 0, fan);
    return isUnknown(platform, mode.key) ? FanHandBack() : FanHandBack{std::move(mode), ""};
  }
  if (reading.record && isHere) {
    return {reading.record->fan.handBack, ""};
  }
  return {std::nullopt, reading.exists && isHere
                            ? "the minimum that it had before is not known: " + reading.fault
                            : ""};
}

std::optional<KVLeasedFan> leasedFan(Platform& platform, std::uint64_t fan) {
  const LeaseReading before = readLease(platform, fan);
  if (!before.exists) {
    return std::nullopt;
  }
  const KVProcessLock lock = guardianLock(platform, fan, before);
  const LeaseReading reading = readLease(platform, fan);
  if (!reading.exists) {
    return std::nullopt;
  }
  const bool isLive = lock.state() == KVProcessLock::State::kHeldElsewhere;
  KVLeasedFan leased = described(fan, reading, isLive);
  const KVProcessLock holder = holderLock(platform, fan, reading);
  leased.isHolderRunning = isRunning(holder);
  if (machineOfLease(platform, reading) != LeaseMachine::kThis) {
    return ofAnotherMachine(std::move(leased), *reading.record);
  }
  if (leased.fault.empty()) {
    leased.fault = isLive ? faultOfGuardian(platform, fan, reading, holder) : faultOf(holder);
  }
  return leased;
}

std::optional<KVLeasedFan> handBackLeftBehind(Platform& platform, std::uint64_t fan) {
  if (!hasLeaseFiles(platform, fan)) {
    return std::nullopt;
  }
  const KVProcessLock lock = guardianLock(platform, fan, readLease(platform, fan));
  if (lock.state() == KVProcessLock::State::kHeldElsewhere) {
    return std::nullopt;
  }
  // Its guardian may have handed it back meanwhile.
  const LeaseReading reading = readLease(platform, fan);
  const LeaseMachine machine = machineOfLease(platform, reading);
  KVLeasedFan result = described(fan, reading, false);
  if (!reading.exists || machine == LeaseMachine::kGone) {
    result.fault = removeLease(platform, fan);
    return result.fault.empty() ? std::nullopt : std::optional(result);
  }
  const KVProcessLock holder = holderLock(platform, fan, reading);
  result.isHolderRunning = isRunning(holder);
  if (machine == LeaseMachine::kAnother) {
    return ofAnotherMachine(std::move(result), *reading.record);
  }
  result.fault = lock.fault().empty() ? handBack(platform, fan, reading, holder)
                                      : leaseName(fan) + ".lock: " + lock.fault();
  return result;
}

}  // namespace kelvora
