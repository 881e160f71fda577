#include "tools/kelvora/OverheatRules.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "KelvoraCore/KVValueConverter.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora::tool {

namespace {

bool isTemperature(const KVSensorPtr& sensor) {
  const KVCategoryPtr category = sensor->category();
  return category != nullptr && category->type() == SensorTypeTemperature;
}

bool canFire(const KVNotification& rule) {
  return rule.active.value_or(false) && rule.threshold.has_value();
}

using Keys = std::set<std::string>;

bool hasReading(const KVSensorPtr& sensor, const Keys& readKeys) {
  return sensor->value() >= 0 && readKeys.contains(sensor->key());
}

KVSensorPtr hottest(KVDataManager& manager, const Keys& readKeys) {
  auto sensors = manager.coreDataStore().tempSensors().value_or(std::vector<KVSensorPtr>());
  std::erase_if(sensors, [&](const KVSensorPtr& sensor) {
    return sensor->sourceType() == SensorSourceComputed || !hasReading(sensor, readKeys);
  });
  const auto found = std::ranges::max_element(
      sensors, {}, [](const KVSensorPtr& sensor) { return sensor->value(); });
  return found == sensors.end() ? nullptr : *found;
}

double valueInUsersUnit(const KVSensorPtr& sensor, KVSettings& settings) {
  return isTemperature(sensor) ? KVValueConverter::convertedTemp(sensor->value(), settings)
                               : sensor->value();
}

// The sensor that a rule is about with its value; none without a reading.
std::optional<FiredRule> readingFor(const KVNotification& rule, KVDataManager& manager,
                                    const Keys& readKeys) {
  const KVSensorPtr sensor =
      rule.sensorKey == kAnySensorKey ? hottest(manager, readKeys) : rule.sensor(manager);
  if (sensor == nullptr || !hasReading(sensor, readKeys)) {
    return std::nullopt;
  }
  return FiredRule{rule, sensor->key(), sensor->name(), valueInUsersUnit(sensor, manager)};
}

}  // namespace

std::vector<FiredRule> OverheatRules::fire(Instant now, const Keys& readKeys) {
  std::vector<FiredRule> fired;
  const auto rules = manager_.overheatNotifications();
  for (const KVNotification& rule : rules.value_or(std::vector<KVNotification>())) {
    if (!canFire(rule)) {
      continue;
    }
    auto reading = readingFor(rule, manager_, readKeys);
    if (!reading) {
      continue;
    }
    if (reading->value < *rule.threshold) {
      arm(rule);
    } else if (!isQuiet(rule, now) && takeTurn(*reading, now)) {
      fired.push_back(*std::move(reading));
    }
  }
  return fired;
}

bool OverheatRules::isQuiet(const KVNotification& rule, Instant now) const {
  const auto unstored = unstored_.find(*rule.sensorKey);
  const auto last = unstored == unstored_.end() ? rule.lastTimeFired : unstored->second;
  if (!last || rule.repeatMode() == 0) {
    return last.has_value();
  }
  // A time to come is of a clock that was set back since.
  return *last <= now && now < *last + std::chrono::seconds(rule.repeatDelays());
}

// False when another program fired the rule meanwhile, or the user removed it or changed it so that
// it does not fire now. A list that cannot be stored silences no alert.
bool OverheatRules::takeTurn(const FiredRule& fired, Instant now) {
  const std::string& key = *fired.rule.sensorKey;
  std::optional<bool> isTaken;
  const bool isStored = manager_.changeOverheatNotification(key, [&](KVNotification& stored) {
    isTaken = canFire(stored) && fired.value >= *stored.threshold && !isQuiet(stored, now);
    if (*isTaken) {
      stored.lastTimeFired = now;
    }
  });
  if (isStored) {
    unstored_.erase(key);
    return *isTaken;
  }
  if (!isTaken) {
    isTaken = manager_.getOverheatNotificationBySensorKey(key).has_value();
  }
  if (*isTaken) {
    unstored_[key] = now;
  }
  return *isTaken;
}

void OverheatRules::arm(const KVNotification& rule) {
  if (rule.repeatMode() != 0) {
    return;
  }
  unstored_.erase(*rule.sensorKey);
  if (rule.lastTimeFired) {
    manager_.changeOverheatNotification(
        *rule.sensorKey, [](KVNotification& stored) { stored.lastTimeFired.reset(); });
  }
}

}  // namespace kelvora::tool
