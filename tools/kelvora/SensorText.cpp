#include "tools/kelvora/SensorText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "KelvoraCore/KVValueConverter.h"

#include "tools/kelvora/SensorTypes.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::int64_t kPercentage = 1;
constexpr bool kShortForm = false;

// Formats of labels by sensor type; "%@" is the place of the name.
constexpr std::array<std::string_view, 5> kLabelKeys{"Temp-%@", "Fan-%@", "Voltage-%@",
                                                     "Current-%@", "Power-%@"};
constexpr std::string_view kPlaceholder = "%@";

// A machine may report anything; a whole number cannot hold what is far beyond any fan's speed.
constexpr double kMostShownSpeed = 1e9;

std::string revolutionsText(double speed) {
  return std::abs(speed) < kMostShownSpeed ? std::to_string(std::lround(speed)) + "rpm" : kNoValue;
}

// Where a fan's speed lies between its limits, from 0 to 1.
std::optional<double> fractionOfRange(const Sensor& fan) {
  const double range = fan.maxLimitValue - fan.minLimitValue;
  if (!std::isfinite(range) || range <= 0) {
    return std::nullopt;
  }
  return std::clamp((fan.value - fan.minLimitValue) / range, 0.0, 1.0);
}

// The value as the converter takes it; none where there is nothing to show.
std::optional<double> shownValue(const Sensor& sensor, KVSettings& settings) {
  if (!std::isfinite(sensor.value) || sensor.type >= kLabelKeys.size()) {
    return std::nullopt;
  }
  const bool isReading = sensor.value >= 0;  // a value that means "no reading" must stay below 0
  if (isReading && sensor.type == SensorTypeTemperature) {
    return KVValueConverter::convertedTemp(sensor.value, settings);
  }
  if (isReading && sensor.type == SensorTypeFan && settings.fanValueType() == kPercentage) {
    return fractionOfRange(sensor);
  }
  return sensor.value;
}

// With `text` in the first place.
std::string filled(std::string format, const std::string& text) {
  const std::size_t place = format.find(kPlaceholder);
  return place == std::string::npos ? format : format.replace(place, kPlaceholder.size(), text);
}

}  // namespace

std::optional<std::string> rawUnit(std::uint64_t type) {
  return type < std::size(kSensorTypes) ? std::optional<std::string>(kSensorTypes[type].unit)
                                        : std::nullopt;
}

std::optional<std::string> limitUnit(std::uint32_t type, KVSettings& settings) {
  constexpr bool kShort = true;
  return type == SensorTypeTemperature
             ? KVValueConverter::unitStringFromCategoryType(type, !kShort, settings)
             : rawUnit(type);
}

std::string localizedText(std::string_view key, std::string_view english,
                          const KVLocalized::Texts& texts) {
  const auto text = texts.localizedStringForKey(key);
  return text && *text != key ? *text : std::string(english);
}

std::string valueText(const Sensor& sensor, KVSettings& settings) {
  const std::optional<double> value = shownValue(sensor, settings);
  return value ? KVValueConverter::fullStringFromValue(
                     *value, static_cast<std::uint32_t>(sensor.type), kShortForm, settings)
               : kNoValue;
}

std::string pairText(std::string_view key, std::string_view english, const std::string& first,
                     const std::string& second, const KVLocalized::Texts& texts) {
  return filled(filled(localizedText(key, english, texts), first), second);
}

std::string limitsText(const Sensor& fan, const KVLocalized::Texts& texts) {
  return pairText("fan-limits-range", "%@ to %@", revolutionsText(fan.minLimitValue),
                  revolutionsText(fan.maxLimitValue), texts);
}

std::string labelText(const Sensor& sensor, const KVLocalized::Texts& texts) {
  if (sensor.type >= kLabelKeys.size()) {
    return sensor.name;
  }
  if (sensor.type == SensorTypeFan || sensor.sourceType == SensorSourceComputed) {
    // What the library names has a text of its own, for the formats would give "Lüfter Fan 1" and
    // "Temperatur Average CPU".
    std::string own = localizedText(sensor.name, sensor.name, texts);
    if (own != sensor.name) {
      return own;
    }
  }
  const std::string format = localizedText(kLabelKeys.at(sensor.type), kPlaceholder, texts);
  return filled(format, sensor.name);
}

}  // namespace kelvora::tool
