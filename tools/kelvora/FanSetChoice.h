#pragma once

#include <cstdint>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVSettings.h"

namespace kelvora::tool {

/// What this program stores as the `batteryState` of a fan condition.
enum BatteryState : std::int16_t {
  kAnyBatteryState = 0,
  kOnBattery = 1,
  kOnPowerAdapter = 2,
};

/// What fan conditions ask about, besides the stored sensors.
struct FanSituation {
  BatteryState batteryState = kAnyBatteryState;  ///< kAnyBatteryState where it is not known
  bool externalDisplayConnected = false;
};

/// The fan set to apply, and why.
struct FanSetChoice {
  KVFanSetPtr fanSet;           ///< null when none applies: the fans stay automatic
  KVFanConditionPtr condition;  ///< the condition that chose the set; null for the manual set
};

/// Whether a condition holds: the value of its sensor is at its threshold or above, both in the
/// sensor's raw unit, the battery state is the one that it requires (0 requires none), and an
/// external display is connected if it requires one. False for a condition that is not active, that
/// has no set, or whose sensor is gone or has no reading (a negative value). Main thread only.
bool holds(const KVFanCondition& condition, const FanSituation& situation);

/// The set that the user chose by hand (`manualFanSetId`), while it is in the store. Otherwise the
/// set of the oldest condition that holds: a condition that is made later never takes over from an
/// older one. Main thread only.
FanSetChoice chosenFanSet(KVCoreDataStore& store, KVSettings& settings,
                          const FanSituation& situation);

}  // namespace kelvora::tool
