#include "KelvoraCore/Sensor.h"

#include <utility>

namespace kelvora {

SensorPtr Sensor::instanceWithKey(std::string key, std::string name, std::string fullName,
                                  double value, double minLimitValue, double maxLimitValue,
                                  std::uint64_t type, std::uint64_t group, std::uint64_t platform,
                                  std::uint64_t sourceType, bool average) {
  auto sensor = std::make_shared<Sensor>();
  sensor->key = std::move(key);
  sensor->name = std::move(name);
  sensor->fullName = std::move(fullName);
  sensor->value = value;
  sensor->minLimitValue = minLimitValue;
  sensor->maxLimitValue = maxLimitValue;
  sensor->type = type;
  sensor->group = group;
  sensor->platform = platform;
  sensor->sourceType = sourceType;
  sensor->average = average;
  return sensor;
}

SensorPtr Sensor::instanceWithKey(std::string key, std::string name, std::uint64_t type,
                                  std::uint64_t group, std::uint64_t platform, bool average) {
  std::string fullName = name;
  return instanceWithKey(std::move(key), std::move(name), std::move(fullName), 0.0, 0.0, 0.0, type,
                         group, platform, SensorSourceSMC, average);
}

SensorPtr Sensor::hidSensorWithKey(std::string key, std::string name, std::uint64_t type,
                                   std::uint64_t group, std::uint64_t platform, bool average) {
  std::string fullName = name;
  return instanceWithKey(std::move(key), std::move(name), std::move(fullName), 0.0, 0.0, 0.0, type,
                         group, platform, SensorSourceHID, average);
}

// Each rule says what is refused. No comparison with a value that is not a number holds, so such a
// value passes.
bool Sensor::isValidValue() const {
  switch (type) {
    case SensorTypeTemperature:
      return !(minLimitValue >= value || value > maxLimitValue);
    case SensorTypeFan:
      return true;
    case SensorTypeVoltage:
      return !(value == 0 || value > 300);
    case SensorTypeCurrent:
      return !(0 >= value || value > 100);
    case SensorTypePower:
      return !(0 >= value);
    default:
      return false;
  }
}

}  // namespace kelvora
