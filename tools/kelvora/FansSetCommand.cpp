#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelvora/FanChangeLock.h"
#include "tools/kelvora/FanHolders.h"
#include "tools/kelvora/FanSpeeds.h"
#include "tools/kelvora/FansCommands.h"
#include "tools/kelvora/Refusals.h"
#include "tools/kelvora/StoreForReading.h"

namespace kelvora::tool {

namespace {

std::vector<std::uint64_t> fansOf(const std::vector<KVFanSpeed>& speeds) {
  std::vector<std::uint64_t> fans(speeds.size());
  std::ranges::transform(speeds, fans.begin(), &KVFanSpeed::fan);
  return fans;
}

void endHolders(const std::vector<std::uint64_t>& fans, Platform& platform) {
  const std::vector<KVLeasedFan> left = endOwnHolders(fans, platform);
  if (!left.empty()) {
    const KVLeasedFan& lease = left.front();
    throw CommandError(kExitElsewhere,
                       "fan " + std::to_string(lease.fan) + ": still held by " + holderOf(lease) +
                           (lease.fault.empty() ? ", which was asked to end" : ": " + lease.fault));
  }
}

// One process of this program holds the fans and keeps those that an earlier one had.
int hold(FanControl& control, const std::vector<KVFanSpeed>& wanted) {
  std::vector<KVFanSpeed> speeds = wanted;
  const std::vector<KVFanSpeed> others = otherFansOfHolders(fansOf(wanted), control.fans());
  speeds.insert(speeds.end(), others.begin(), others.end());
  try {
    endHolders(fansOf(wanted), control.machine().platform);
  } catch (const CommandError&) {
    // Of several holders those that have ended leave their other fans to a new one.
    control.readAgain();
    if (const auto free = withoutHolder(others, control.fans()); !free.empty()) {
      startHolder(free);
    }
    throw;
  }
  return startHolder(speeds);
}

int setFans(const Options& options, StandardOutput& output, FanControl& control,
            const std::vector<KVFanSpeed>& wanted) {
  const FanChangeLock lock(control.machine().platform);
  control.readAgain();
  control.requireSettable(wanted);
  const std::vector<FanState> before = control.fans();
  const auto report = [&] {
    control.readAgain();
    reportHandedBack(before, control.fans());
  };
  try {
    const int status = hold(control, wanted);
    report();
    if (status == kExitSuccess) {
      writeHeld(options, output, control, wanted);
    }
    return status;
  } catch (const CommandError&) {
    report();
    throw;
  }
}

std::optional<KVFanSpeed> speedIn(const std::string& key, const PropertyListValue& value) {
  const auto fan = fanOfSetKey(key);
  const bool isNumber = value.as<double>() != nullptr || value.as<std::int64_t>() != nullptr;
  const double speed = value.doubleValue();
  if (!fan || !isNumber || !(speed > 0) || speed > kMostSetSpeed) {
    return std::nullopt;
  }
  return KVFanSpeed{*fan, static_cast<std::uint64_t>(std::llround(speed))};
}

std::vector<KVFanSpeed> speedsOf(const KVFanSet& set) {
  std::vector<KVFanSpeed> speeds;
  for (const auto& [key, value] : set.valueDict().value_or(PropertyListValue::Dictionary())) {
    const auto speed = speedIn(key, value);
    if (!speed) {
      refuse(set.name(), KVErrorInvalidInput, "not all of its speeds are those of fans");
    }
    speeds.push_back(*speed);
  }
  if (speeds.empty()) {
    refuse(set.name(), KVErrorInvalidInput, "it has no speeds");
  }
  return speeds;
}

std::vector<KVFanSpeed> speedsOfSet(const std::string& name) {
  if (!StoreForReading::exists()) {
    refuse(name, KVErrorInvalidInput, "'kelvora fansets' lists the fan sets");
  }
  StoreForReading reading;
  return speedsOf(*requiredFanSet(reading.store(), name));
}

}  // namespace

int runFansSet(const Options& options, StandardOutput& output) {
  const KVFanSpeed wanted{parsedFan(options.text("INDEX")), parsedSpeed(options.text("RPM"))};
  FanControl control(options, output);
  return setFans(options, output, control, {wanted});
}

int runFansApply(const Options& options, StandardOutput& output) {
  FanControl control(options, output);
  return setFans(options, output, control, speedsOfSet(options.text("FANSET")));
}

}  // namespace kelvora::tool
