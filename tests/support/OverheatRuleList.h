#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/KVNotification.h"

namespace kelvora::testing {

inline KVNotification rule(const std::string& key, double threshold = 70) {
  KVNotification rule;
  rule.sensorKey = key;
  rule.threshold = threshold;
  return rule;
}

/// A rule that is enabled; `repeat` as in `KVNotification::repeat`.
inline KVNotification activeRule(const std::string& key, double threshold,
                                 std::int64_t repeat = 0) {
  KVNotification enabled = rule(key, threshold);
  enabled.active = true;
  enabled.repeat = repeat;
  return enabled;
}

/// The sensors of the rules in their order; "none" for a rule without one.
inline std::vector<std::string> keysOf(const std::optional<std::vector<KVNotification>>& rules) {
  std::vector<std::string> keys;
  for (const KVNotification& rule : rules.value()) {
    keys.push_back(rule.sensorKey.value_or("none"));
  }
  return keys;
}

}  // namespace kelvora::testing
