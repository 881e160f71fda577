#include "KelvoraCore/KVValueConverter.h"

#include <cmath>
#include <locale>
#include <sstream>

#include "KelvoraCore/Sensor.h"

#include "base/Truncated.h"
#include "presentation/FanPercentage.h"

namespace kelvora {

namespace {

// As "%.*f" in the C locale, whatever the process's locale is. Not-a-number has no sign. Not
// std::to_chars, which the standard library of macOS before 13.3 lacks for floating-point numbers.
std::string fixedText(double value, int fractionDigits) {
  if (std::isnan(value)) {
    return "nan";
  }
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream.precision(fractionDigits);
  stream << std::fixed << value;
  return stream.str();
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
