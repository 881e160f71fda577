#include "KelvoraCore/Sensor.h"

#include <utility>

namespace kelvora {

SensorPtr Sensor::instanceWithKey(std::string key, std::string name, std::string fullName,
                                  double value, double minLimitValue, double maxLimitValue,
                                  std::uint64_t type, std::uint64_t group, std::uint64_t platform,
                                  std::uint64_t sourceType, bool average) {
  return std::make_shared<Sensor>(Sensor{std::move(key), std::move(name), std::move(fullName),
                                         value, minLimitValue, maxLimitValue, type, group, platform,
                                         sourceType, average});
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

bool Sensor::isValidValue() const { return isValidValue(value); }

// Each rule names what is refused, so that not-a-number, which no comparison holds for, passes.
bool Sensor::isValidValue(double candidate) const {
  switch (type) {
    case SensorTypeTemperature:
      return !(minLimitValue >= candidate || candidate > maxLimitValue);
    case SensorTypeFan:
      return true;
    case SensorTypeVoltage:
      return !(candidate == 0 || candidate > 300);
    case SensorTypeCurrent:
      return !(0 >= candidate || candidate > 100);
    case SensorTypePower:
      return !(0 >= candidate);
    default:
      return false;
  }
}

}  // namespace kelvora
