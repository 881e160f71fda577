#include "tools/kelvora/FanControl.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <system_error>

#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/FanHolders.h"
#include "tools/kelvora/FansLeftBehind.h"

namespace kelvora::tool {

namespace {

std::optional<std::uint64_t> wholeNumber(const std::string& word) {
  std::uint64_t number = 0;
  const char* const end = word.data() + word.size();
  const auto [rest, error] = std::from_chars(word.data(), end, number);
  return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

std::string fanText(std::uint64_t fan) { return "fan " + std::to_string(fan) + ": "; }

std::string nameOf(const Options& options) {
  const char* const environment = std::getenv("KELVORA_MACHINE");
  return options.machine.empty() && environment != nullptr ? environment : options.machine;
}

const MachineChoice& writable(const Options& options, const MachineChoice& machine) {
  requireMachine(machine);
  if (machine.isInMemory()) {
    const std::string name = nameOf(options);
    throw CommandError(kExitUsage, name +
                                       ": its fans would be set in this program's memory only; "
                                       "choose it first: kelvora machine use " +
                                       name);
  }
  return machine;
}

void requireWithinLimits(const FanState& fan, std::uint64_t speed, bool hasModes) {
  if (!fan.minimum || !fan.maximum || !(*fan.maximum > 0) || *fan.minimum > *fan.maximum) {
    throw CommandError(kExitNothingRead, fanText(fan.index) + "its limits cannot be read");
  }
  if (hasModes && !fan.isFixed) {
    throw CommandError(kExitNothingRead,
                       fanText(fan.index) + "cannot be set on this Mac: its mode cannot be read");
  }
  const auto wanted = static_cast<double>(speed);
  if (wanted < *fan.minimum || wanted > *fan.maximum) {
    throw CommandError(kExitUsage,
                       fanText(fan.index) + std::to_string(speed) + " is not within its limits, " +
                           std::to_string(std::llround(std::ceil(*fan.minimum))) + " to " +
                           std::to_string(std::llround(std::floor(*fan.maximum))));
  }
}

void requireFree(const FanState& fan) {
  if (fan.lease && fan.lease->isLive && !isOwnHolder(*fan.lease)) {
    throw CommandError(kExitElsewhere, fanText(fan.index) + "held by " + holderOf(*fan.lease));
  }
}

// A recording's messages are discarded before its SMC is opened.
MachineChoice machineToSet(const Options& options, StandardOutput& output) {
  MachineChoice machine = writable(options, chooseMachineOfFans(options.machine));
  output.discardMessages(!machine.platform.isLive());
  return machine;
}

}  // namespace

std::uint64_t parsedFan(const std::string& word) {
  const auto fan = wholeNumber(word);
  if (!fan) {
    throw CommandError(kExitUsage, word +
                                       ": a fan is named by its index, e.g. 0 ('kelvora fans' "
                                       "lists them)");
  }
  return *fan;
}

std::uint64_t parsedSpeed(const std::string& word) {
  const auto speed = wholeNumber(word);
  if (!speed) {
    throw CommandError(kExitUsage,
                       word + ": a speed is a whole number of revolutions per minute, e.g. 3000");
  }
  return *speed;
}

std::vector<KVFanSpeed> parsedFanSpeeds(const std::vector<std::string>& words) {
  std::vector<KVFanSpeed> speeds;
  for (const std::string& word : words) {
    const std::size_t sign = word.find('=');
    if (sign == std::string::npos || sign == 0 || sign + 1 == word.size()) {
      throw CommandError(kExitUsage,
                         word + ": a fan's index and its speed are needed, e.g. 0=3000");
    }
    speeds.push_back({parsedFan(word.substr(0, sign)), parsedSpeed(word.substr(sign + 1))});
  }
  return speeds;
}

FanControl::FanControl(const Options& options, StandardOutput& output)
    : machine_(machineToSet(options, output)), reader_(machine_.platform) {
  reader_.requireSMC();
  reportLeftBehind(handBackLeftBehind(machine_.platform));
  readAgain();
}

void FanControl::readAgain() { fans_ = reader_.read(KVFanLeases::leasedFans(machine_.platform)); }

const FanState& FanControl::fan(std::uint64_t index) const {
  const auto found = std::ranges::find(fans_, index, &FanState::index);
  if (found == fans_.end()) {
    throw CommandError(kExitUsage, fanText(index) +
                                       "the machine has no such fan ('kelvora fans' "
                                       "lists them)");
  }
  return *found;
}

void FanControl::requireTool() const {
  if (!KVUtils::smcExeOwnership(machine_.platform)) {
    throw CommandError(kExitNothingRead,
                       "the privileged tool is not installed: 'kelvora fans permit' installs it");
  }
}

void FanControl::requireSettable(const std::vector<KVFanSpeed>& speeds) {
  for (auto speed = speeds.begin(); speed != speeds.end(); ++speed) {
    requireWithinLimits(fan(speed->fan), speed->speed, hasModes());
    if (std::any_of(speeds.begin(), speed,
                    [&](const KVFanSpeed& earlier) { return earlier.fan == speed->fan; })) {
      throw CommandError(kExitUsage, fanText(speed->fan) + "has two speeds");
    }
  }
  requireTool();
  for (const KVFanSpeed& speed : speeds) {
    requireFree(fan(speed.fan));
  }
}

}  // namespace kelvora::tool
