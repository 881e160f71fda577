#include "KelvoraCore/KVValueConverter.h"

#include <array>
#include <charconv>
#include <cmath>

#include "KelvoraCore/Sensor.h"

#include "base/Truncated.h"
#include "presentation/FanPercentage.h"

namespace kelvora {

namespace {

// As "%.*f" in the C locale, whatever the process's locale is. Not-a-number has no sign.
std::string fixedText(double value, int fractionDigits) {
  if (std::isnan(value)) {
    return "nan";
  }
  std::array<char, 400> buffer{};  // the largest double has 309 digits
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                 std::chars_format::fixed, fractionDigits);
  return {buffer.data(), end.ptr};
}

}  // namespace

std::string KVValueConverter::fullStringFromValue(double value, std::uint32_t categoryType,
                                                  bool shortForm, KVSettings& settings) {
  if (value < 0.0) {
    return "-";
  }
  return stringFromValue(value, categoryType, settings) +
         unitStringFromCategoryType(categoryType, shortForm, settings).value_or("");
}

std::string KVValueConverter::stringFromValue(double value, std::uint32_t categoryType,
                                              KVSettings& settings) {
  if (isShownAsPercentage(categoryType, settings)) {
    return std::to_string(truncated(value * 100.0));
  }
  const bool whole = categoryType == SensorTypeFan || categoryType == SensorTypeTemperature;
  return fixedText(value, whole ? 0 : 2);
}

std::optional<std::string> KVValueConverter::unitStringFromCategoryType(std::uint32_t categoryType,
                                                                        bool shortForm,
                                                                        KVSettings& settings) {
  switch (categoryType) {
    case SensorTypeTemperature:
      if (shortForm) {
        return "°";
      }
      return settings.tempUnitCelsius() ? "°C" : "°F";
    case SensorTypeFan:
      if (isShownAsPercentage(categoryType, settings)) {
        return "%";
      }
      return shortForm ? "" : "rpm";
    case SensorTypeVoltage:
      return "V";
    case SensorTypeCurrent:
      return "A";
    case SensorTypePower:
      return "W";
    default:
      return std::nullopt;
  }
}

double KVValueConverter::convertedTemp(double celsius, KVSettings& settings) {
  return settings.tempUnitCelsius() ? celsius : celsius * 9.0 / 5.0 + 32.0;
}

}  // namespace kelvora
