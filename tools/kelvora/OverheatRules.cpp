#include "tools/kelvora/OverheatRules.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "KelvoraCore/KVValueConverter.h"
#include "KelvoraCore/Sensor.h"

#include "tools/kelvora/StoredSensors.h"

namespace kelvora::tool {

namespace {

bool canFire(const KVNotification& rule) {
  return rule.active.value_or(false) && rule.threshold.has_value();
}

bool hasReading(const SensorPtr& sensor) {
  return StoredSensors::isRead(sensor->value) && sensor->value >= 0;
}

SensorPtr hottest(const SensorList& sensors) {
  SensorPtr found;
  for (const SensorPtr& sensor : sensors) {
    const bool counts = sensor->type == SensorTypeTemperature &&
                        sensor->sourceType != SensorSourceComputed && hasReading(sensor);
    if (counts && (found == nullptr || sensor->value > found->value)) {
      found = sensor;
    }
  }
  return found;
}

double valueInUsersUnit(const Sensor& sensor, KVSettings& settings) {
  return sensor.type == SensorTypeTemperature
             ? KVValueConverter::convertedTemp(sensor.value, settings)
             : sensor.value;
}

// The sensor that a rule is about with its value; none without a reading.
std::optional<FiredRule> readingFor(const KVNotification& rule, const SensorList& sensors,
                                    KVSettings& settings) {
  const auto found = std::ranges::find_if(
      sensors, [&](const SensorPtr& sensor) { return sensor->key == rule.sensorKey; });
  const SensorPtr sensor = rule.sensorKey == kAnySensorKey ? hottest(sensors)
                           : found == sensors.end()        ? nullptr
                                                           : *found;
  if (sensor == nullptr || !hasReading(sensor)) {
    return std::nullopt;
  }
  return FiredRule{rule, sensor->key, sensor->name, valueInUsersUnit(*sensor, settings)};
}

// The stored list, whose rules for sensors that are gone have no reading; a new user's has
// defaults.
std::vector<KVNotification> rulesOf(KVDataManager& manager) {
  auto rules = storedOverheatNotifications(manager);
  if (!rules) {
    rules = manager.overheatNotifications();
  }
  return std::move(rules).value_or(std::vector<KVNotification>());
}

}  // namespace

std::vector<FiredRule> OverheatRules::fire(KVDataManager& manager, Instant now,
                                           const SensorList& sensors) {
  std::vector<FiredRule> fired;
  for (const KVNotification& rule : rulesOf(manager)) {
    auto reading = canFire(rule) ? readingFor(rule, sensors, manager) : std::nullopt;
    if (!reading) {
      continue;
    }
    if (reading->value < *rule.threshold) {
      arm(manager, rule);
    } else if (!isQuiet(rule, now) && takeTurn(manager, *reading, now)) {
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
  // A time in the future means that the clock was set back.
  return *last <= now && now < *last + std::chrono::seconds(rule.repeatDelays());
}

// False when another program fired the rule meanwhile, or the user removed it or changed it so that
// it does not fire now. A list that cannot be stored silences no alert.
bool OverheatRules::takeTurn(KVDataManager& manager, const FiredRule& fired, Instant now) {
  const std::string& key = *fired.rule.sensorKey;
  std::optional<bool> isTaken;
  const bool isStored = manager.changeOverheatNotification(key, [&](KVNotification& stored) {
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
    const std::vector<KVNotification> rules = rulesOf(manager);
    isTaken = std::ranges::find(rules, fired.rule) != rules.end();
  }
  if (*isTaken) {
    unstored_[key] = now;
  }
  return *isTaken;
}

void OverheatRules::arm(KVDataManager& manager, const KVNotification& rule) {
  if (rule.repeatMode() != 0) {
    return;
  }
  unstored_.erase(*rule.sensorKey);
  if (rule.lastTimeFired) {
    manager.changeOverheatNotification(
        *rule.sensorKey, [](KVNotification& stored) { stored.lastTimeFired.reset(); });
  }
}

}  // namespace kelvora::tool
