#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/Sensor.h"

// What tests ask of a list of sensors.
namespace kelvora::testing {

/// Key and name of each sensor, in order.
inline std::vector<std::pair<std::string, std::string>> names(const SensorList& sensors) {
  std::vector<std::pair<std::string, std::string>> result;
  for (const SensorPtr& sensor : sensors) {
    result.emplace_back(sensor->key, sensor->name);
  }
  return result;
}

/// The first sensor of a key, or null.
inline const Sensor* find(const SensorList& sensors, const std::string& key) {
  const auto found = std::find_if(sensors.begin(), sensors.end(),
                                  [&](const SensorPtr& sensor) { return sensor->key == key; });
  return found == sensors.end() ? nullptr : found->get();
}

/// Every field of a sensor as one text, numbers in hundredths.
inline std::string described(const Sensor& sensor) {
  const auto number = [](double value) { return std::to_string(std::lround(value * 100)); };
  return sensor.key + "|" + sensor.name + "|" + sensor.fullName + "|" + number(sensor.value) + "|" +
         number(sensor.minLimitValue) + "|" + number(sensor.maxLimitValue) + "|" +
         std::to_string(sensor.type) + "|" + std::to_string(sensor.group) + "|" +
         std::to_string(sensor.platform) + "|" + std::to_string(sensor.sourceType) + "|" +
         (sensor.average ? "average" : "plain");
}

inline std::vector<std::string> described(const SensorList& sensors) {
  std::vector<std::string> texts;
  for (const SensorPtr& sensor : sensors) {
    texts.push_back(described(*sensor));
  }
  return texts;
}

}  // namespace kelvora::testing
