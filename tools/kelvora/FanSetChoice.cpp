#include "tools/kelvora/FanSetChoice.h"

namespace kelvora::tool {

bool holds(const KVFanCondition& condition, const FanSituation& situation) {
  const KVSensorPtr sensor = condition.sensor();
  if (!condition.active() || condition.fanSet() == nullptr || sensor == nullptr) {
    return false;
  }
  const std::int16_t required = condition.batteryState();
  const bool isHot = sensor->value() >= 0 && sensor->value() >= condition.threshold();
  const bool isPowered = required == kAnyBatteryState || required == situation.batteryState;
  return isHot && isPowered &&
         (situation.externalDisplayConnected || !condition.externalDisplayConnected());
}

FanSetChoice chosenFanSet(KVCoreDataStore& store, KVSettings& settings,
                          const FanSituation& situation) {
  const auto manual = settings.manualFanSetId();
  if (const KVFanSetPtr set = manual && !manual->empty() ? store.getFanSetById(manual) : nullptr) {
    return {set, nullptr};
  }
  const auto conditions = store.allFanConditions();
  for (const KVFanConditionPtr& condition : conditions.value_or(std::vector<KVFanConditionPtr>())) {
    if (holds(*condition, situation)) {
      return {condition->fanSet(), condition};
    }
  }
  return {};
}

}  // namespace kelvora::tool
