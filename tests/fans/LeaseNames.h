#pragma once

#include <array>
#include <cstddef>

#include "fans/FanLeaseRules.h"

// The names of the cells of the lease's tables as the document shows them, e.g. "handing back".
namespace kelvora::testing {

template <typename Value, std::size_t count>
const char* nameIn(const std::array<const char*, count>& names, Value value) {
  return names.at(static_cast<std::size_t>(value));
}

inline const char* nameOf(HolderState state) {
  return nameIn(
      std::to_array({"idle", "starting", "taking", "held", "handing back", "ending", "ended"}),
      state);
}

inline const char* nameOf(HolderEvent event) {
  return nameIn(
      std::to_array({"take asked", "ready", "refused", "taken", "take failed", "renewal due",
                     "release asked", "guardian expired", "guardian silent", "guardian gone",
                     "handed back", "hand-back failed"}),
      event);
}

inline const char* nameOf(HolderAction action) {
  return nameIn(
      std::to_array({"nothing", "start the guardian", "take", "renew", "hand back", "close"}),
      action);
}

inline const char* nameOf(GuardianState state) {
  return nameIn(std::to_array({"preparing", "watching", "expired", "ending", "gone"}), state);
}

inline const char* nameOf(GuardianEvent event) {
  return nameIn(std::to_array({"prepared", "cannot prepare", "renewed", "time is over",
                               "channel ended", "handed back", "hand-back failed"}),
                event);
}

inline const char* nameOf(GuardianAction action) {
  return nameIn(std::to_array({"nothing", "say ready", "refuse", "say alive", "say expired",
                               "hand back", "leave"}),
                action);
}

}  // namespace kelvora::testing
