#include "tools/kelvora/SensorText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string_view>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVValueConverter.h"

namespace kelvora::tool {

namespace {

constexpr char kNoValue[] = "–";
constexpr std::int64_t kPercentage = 1;
constexpr bool kShortForm = false;

// Formats of labels by sensor type; "%@" is the place of the name.
constexpr std::array<std::string_view, 5> kLabelKeys{"Temp-%@", "", "Voltage-%@", "Current-%@",
                                                     "Power-%@"};
constexpr std::string_view kPlaceholder = "%@";

std::string revolutionsText(double speed) {
  return std::isfinite(speed) ? std::to_string(std::lround(speed)) + "rpm" : kNoValue;
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

}  // namespace

std::string valueText(const Sensor& sensor, KVSettings& settings) {
  const std::optional<double> value = shownValue(sensor, settings);
  return value ? KVValueConverter::fullStringFromValue(
                     *value, static_cast<std::uint32_t>(sensor.type), kShortForm, settings)
               : kNoValue;
}

std::string limitsText(const Sensor& fan) {
  return revolutionsText(fan.minLimitValue) + " to " + revolutionsText(fan.maxLimitValue);
}

std::string labelText(const Sensor& sensor, const KVLocalized::Texts& texts) {
  const std::string_view key = sensor.type < kLabelKeys.size() ? kLabelKeys.at(sensor.type) : "";
  if (key.empty()) {
    return sensor.name;
  }
  const auto format = texts.localizedStringForKey(key);
  return format && *format != key ? KVExtension::replace(*format, kPlaceholder, sensor.name)
                                  : sensor.name;
}

}  // namespace kelvora::tool
