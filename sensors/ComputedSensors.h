#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "KelvoraCore/Sensor.h"

namespace kelvora {

class RawReading;
struct NamedSensor;

/// The computed sensors of a reading, new records in this order, each only where it applies:
/// "AverageCPU" and "HottestCPU", "AverageGPU" and "HottestGPU" when their value is above 0, and
/// "FastestFan" when the reading holds two fans or more. A record that stands in the reading twice
/// counts twice.
SensorList computedSensors(const SensorList& reading);
/// Adds them to a reading that has no records yet, after its other sensors.
void addComputedSensors(RawReading& raw, std::vector<NamedSensor>& reading);

/// The value of a computed sensor, e.g. 48.5 degrees for "AverageCPU" of type 0, or 5400
/// revolutions per minute for "FastestFan" of type 1. An average or a maximum without inputs is -1,
/// a fastest fan without fans 0; an unknown key or another type gives 0.
double computedValue(std::string_view key, std::uint64_t type, const SensorList& reading);

}  // namespace kelvora
