#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora::tool {

/// A reading in the user's unit: "46°C", "114°F", "1200rpm", "12.31V". Where the user wants fan
/// speeds as percentages: the place in the fan's range, e.g. "75%", from 0 to 100. "–" for a value
/// that is not finite, for a percentage of a fan without a range, and for a type without a unit;
/// "-" for a value below 0, which means that there is no reading.
std::string valueText(const Sensor& sensor, KVSettings& settings);

/// The unit of raw values, whatever the settings: "°C", "rpm", "V", "A", "W"; none for a type that
/// is not a SensorType.
std::optional<std::string> rawUnit(std::uint64_t type);

/// The unit in which the limit of an overheat rule counts: as above, but "°F" for temperatures
/// where the user has chosen degrees Fahrenheit.
std::optional<std::string> limitUnit(std::uint32_t type, KVSettings& settings);

/// The text of a key in the user's language; `english` where no table has a text for it.
std::string localizedText(std::string_view key, std::string_view english,
                          const KVLocalized::Texts& texts);

/// The same for a text with two places, "%@ to %@", which the values take in their order.
std::string pairText(std::string_view key, std::string_view english, const std::string& first,
                     const std::string& second, const KVLocalized::Texts& texts);

/// A fan's limits in the user's language, always in revolutions: "2160rpm to 5927rpm", "2160rpm bis
/// 5927rpm". "–" for a limit that is not finite or beyond any fan's speed.
std::string limitsText(const Sensor& fan, const KVLocalized::Texts& texts);

/// What a sensor is called in the user's language: "CPU Core 1 Temperature", "Temperatur CPU Core
/// 1". A fan's name may have a text of its own: "Fan 1" is "Lüfter 1".
std::string labelText(const Sensor& sensor, const KVLocalized::Texts& texts);

}  // namespace kelvora::tool
