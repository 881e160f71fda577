#include "tools/kelvora/Recording.h"

#include <set>

namespace kelvora::tool {

namespace {

std::set<std::string> keysRead(const SensorList& sensors) {
  std::set<std::string> keys;
  for (const SensorPtr& sensor : sensors) {
    if (StoredSensors::isRead(sensor->value)) {
      keys.insert(sensor->key);
    }
  }
  return keys;
}

}  // namespace

Recording::Sample Recording::sample(Instant instant) {
  Sample sample{recorder_.sample(instant), std::nullopt, {}};
  const SensorList& sensors = sample.outcome.sensors;
  isBegun_ = isBegun_ || !sensors.empty();
  if (!isBegun_) {
    return sample;
  }
  sample.logFault = log_.append(instant, sensors, recorder_.manager());
  sample.fired = rules().fire(instant, keysRead(sensors));
  return sample;
}

// Kept from sample to sample: they remember what fired and could not be stored.
OverheatRules& Recording::rules() {
  KVDataManager& manager = recorder_.manager();
  if (rulesManager_ != &manager) {
    rulesManager_ = &manager;
    rules_.emplace(manager);
  }
  return *rules_;
}

}  // namespace kelvora::tool
