#pragma once

#include <string>

#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Sensor.h"

#include "ports/Ports.h"

namespace kelvora::tool {

/// A reading in the user's unit: "46°C", "114°F", "1200rpm", "12.31V". A fan whose speeds are shown
/// as percentages gives the place in its range, "75%", from 0 to 100. "–" for what is not finite,
/// for a fan without a range to be a percentage of, and for a type without a unit; "-" for a value
/// below 0, which stands for no reading.
std::string valueText(const Sensor& sensor, KVSettings& settings);

/// A fan's limits, always in revolutions: "2160rpm to 5927rpm".
std::string limitsText(const Sensor& fan);

/// What a sensor is called in the user's language: "CPU Core 1 Temperature", "Temperatur CPU Core
/// 1". A fan has its name alone.
std::string labelText(const Sensor& sensor, KVSettings& settings, Platform& platform);

}  // namespace kelvora::tool
