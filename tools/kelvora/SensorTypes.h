#pragma once

#include <cstdint>

#include "KelvoraCore/Sensor.h"

namespace kelvora::tool {

/// What this program calls a type of sensors.
struct SensorTypeRow {
  std::uint64_t type;    ///< a SensorType
  const char* name;      ///< as --type takes it
  const char* category;  ///< the stored name of its category
  const char* unit;      ///< that the values are stored in
};

/// In the order of the types, from 0.
inline constexpr SensorTypeRow kSensorTypes[] = {
    {SensorTypeTemperature, "temperature", "Temperature", "°C"},
    {SensorTypeFan, "fan", "Fan", "rpm"},
    {SensorTypeVoltage, "voltage", "Voltage", "V"},
    {SensorTypeCurrent, "current", "Current", "A"},
    {SensorTypePower, "power", "Power", "W"},
};

}  // namespace kelvora::tool
