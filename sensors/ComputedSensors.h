#pragma once

#include <cstdint>
#include <string_view>

#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// New records of the computed sensors of a reading, in this order: "AverageCPU", "HottestCPU",
/// "AverageGPU" and "HottestGPU", each if its value is above 0, and "FastestFan" if the reading
/// holds two fans or more. A record that is in the reading twice counts twice.
SensorList computedSensors(const SensorList& reading);

/// The value of a computed sensor, e.g. 48.5 degrees for "AverageCPU" of type 0, or 5400
/// revolutions per minute for "FastestFan" of type 1. An average or a maximum without inputs is -1,
/// a fastest fan without fans 0; an unknown key or another type gives 0.
double computedValue(std::string_view key, std::uint64_t type, const SensorList& reading);

}  // namespace kelvora
