#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSensor.h"

namespace kelvora {

class KVDataManager;
class KVSettings;

/// The `sensorKey` of a rule that applies to the hottest of all temperatures. No stored sensor has
/// this key.
inline constexpr char kAnySensorKey[] = "any-sensor";

/// An overheat rule: the user wants an alert when a sensor reaches a limit. A plain value; a field
/// that was never set has no value. KVDataManager keeps the list of rules.
struct KELVORA_EXPORT KVNotification {
  using Date = std::chrono::system_clock::time_point;

  std::optional<std::string> sensorKey;   ///< e.g. "TC0P", or `kAnySensorKey`
  std::optional<std::string> sensorName;  ///< when the rule was made, e.g. "CPU Proximity"
  /// In the unit that the user had chosen when the rule was made, e.g. 70 (degrees Celsius) or 158
  /// (degrees Fahrenheit). A later change of the unit does not convert it.
  std::optional<double> threshold;
  std::optional<bool> active;          ///< whether the rule is enabled
  std::optional<std::int64_t> repeat;  ///< what the user chose, 0 to 5; see `repeatMode`
  std::optional<Date> lastTimeFired;   ///< when a host raised the alert; kept to the microsecond

  /// `repeat` from 1 to 5; 0, which means no repetition, for anything else.
  std::uint64_t repeatMode() const;
  /// Seconds after `lastTimeFired` in which the rule does not fire again: 10, 30, 60, 120 or 300 by
  /// `repeatMode`. 0 without repetition: then it fires once, and again only after its value has
  /// been below the limit, when a host removes `lastTimeFired`.
  std::uint64_t repeatDelays() const;
  /// The sensor of that key in the manager's store, looked up on every call; null without such a
  /// sensor. Main thread only.
  KVSensorPtr sensor(KVDataManager& manager) const;

  /// Rules are equal when their keys are: a list has one rule for each sensor.
  friend bool operator==(const KVNotification& one, const KVNotification& other) {
    return one.sensorKey == other.sensorKey;
  }
};

/// The stored list, including rules whose sensors no longer exist, for programs that only display
/// it. Stores nothing. Empty when the stored list is damaged, none when nothing is stored. Any
/// thread.
KELVORA_EXPORT std::optional<std::vector<KVNotification>> storedOverheatNotifications(
    KVSettings& settings);

}  // namespace kelvora

/// Uses the key only, like operator==.
template <>
struct std::hash<kelvora::KVNotification> {
  /// The hash of the key, so that equal rules have equal hashes. Any thread.
  std::size_t operator()(const kelvora::KVNotification& rule) const noexcept {
    return std::hash<std::optional<std::string>>()(rule.sensorKey);
  }
};
