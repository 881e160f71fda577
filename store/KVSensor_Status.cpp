#include <algorithm>
#include <array>
#include <cmath>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVValueConverter.h"

namespace kelvora {

namespace {

struct DisplayedStatus {
  KVSensorStatus status;
  std::string_view key;
};

constexpr std::array<DisplayedStatus, 14> kDisplayedStatuses{{
    {KVSensorStatusNormalTemperature, "sensor-status-display-normal-temp"},
    {KVSensorStatusHighTemperature, "sensor-status-display-high-temp"},
    {KVSensorStatusVeryHighTemperature, "sensor-status-display-very-high-temp"},
    {KVSensorStatusFanStopped, "sensor-status-display-zero-speed"},
    {KVSensorStatusNormalSpeed, "sensor-status-display-normal-speed"},
    {KVSensorStatusHighSpeed, "sensor-status-display-high-speed"},
    {KVSensorStatusVeryHighSpeed, "sensor-status-display-very-high-speed"},
    {KVSensorStatusOK, "sensor-status-display-ok"},
    {KVSensorStatusSkipped, "sensor-status-display-skipped"},
    {KVSensorStatusTemperatureCannotBeRead, "sensor-status-display-temperature-can-not-be-read"},
    {KVSensorStatusFailedToInitialize, "sensor-status-display-failed-to-initialize"},
    {KVSensorStatusBelowAllowedMinimum, "sensor-status-display-temperature-below-allowed-minimum"},
    {KVSensorStatusUnstableTemperature, "sensor-status-display-unstable-temperature"},
    {KVSensorStatusError, "sensor-status-display-error"},
}};

struct DiagnosticCode {
  double reading;
  KVSensorStatus status;
};

// Readings that an SMC gives in the place of a temperature.
constexpr double kHighestDiagnosticCode = -124;
constexpr std::array<DiagnosticCode, 5> kDiagnosticCodes{{
    {-128, KVSensorStatusTemperatureCannotBeRead},
    {-127, KVSensorStatusSkipped},
    {-126, KVSensorStatusFailedToInitialize},
    {-125, KVSensorStatusBelowAllowedMinimum},
    {-124, KVSensorStatusUnstableTemperature},
}};

// Degrees Celsius.
constexpr double kHighCPUProximity = 66;
constexpr double kHighTemperature = 90;
constexpr double kVeryHighTemperature = 100;

// Percent of a fan's range.
constexpr double kHighSpeed = 75;
constexpr double kVeryHighSpeed = 90;

KVSensorStatus statusOfDiagnosticCode(double reading) {
  const auto* const found = std::ranges::find(kDiagnosticCodes, reading, &DiagnosticCode::reading);
  return found == kDiagnosticCodes.end() ? KVSensorStatusError : found->status;
}

std::string temperatureText(double celsius, KVSettings& settings) {
  return KVValueConverter::fullStringFromValue(KVValueConverter::convertedTemp(celsius, settings),
                                               SensorTypeTemperature, false, settings);
}

std::string speedText(double speed, KVSettings& settings) {
  KVSettingsSnapshot inRevolutions(settings);
  inRevolutions.setFanValueType(0);
  return KVValueConverter::fullStringFromValue(speed, SensorTypeFan, false, inRevolutions);
}

double highTemperatureOf(const KVSensor& sensor) {
  return sensor.isCPUProximitySensor() ? kHighCPUProximity : kHighTemperature;
}

// The range has no sign, but begins at the lower limit even if that is the greater number.
double speedAt(double percent, const KVSensor& fan) {
  return fan.minValue() + std::abs(fan.maxValue() - fan.minValue()) * percent / 100;
}

KVSensorStatus statusOfTemperature(const KVSensor& sensor) {
  const double celsius = sensor.value();
  if (celsius <= kHighestDiagnosticCode) {
    return statusOfDiagnosticCode(celsius);
  }
  if (celsius >= kVeryHighTemperature) {
    return KVSensorStatusVeryHighTemperature;
  }
  return celsius < highTemperatureOf(sensor) ? KVSensorStatusNormalTemperature
                                             : KVSensorStatusHighTemperature;
}

KVSensorStatus statusOfFan(const KVSensor& fan) {
  const double speed = fan.value();
  if (speed == 0) {
    return KVSensorStatusFanStopped;
  }
  if (speed >= speedAt(kVeryHighSpeed, fan)) {
    return KVSensorStatusVeryHighSpeed;
  }
  return speed < speedAt(kHighSpeed, fan) ? KVSensorStatusNormalSpeed : KVSensorStatusHighSpeed;
}

KVSensorStatus statusOfOther(const KVSensor& sensor) {
  if (sensor.isCustom()) {
    return sensor.value() > 0 ? KVSensorStatusOK : KVSensorStatusNone;
  }
  return sensor.value() >= 0 ? KVSensorStatusOK : KVSensorStatusError;
}

}  // namespace

KVSensorStatus KVSensor::statusEnum() const {
  switch (categoryType()) {
    case SensorTypeTemperature:
      return statusOfTemperature(*this);
    case SensorTypeFan:
      return statusOfFan(*this);
    default:
      return statusOfOther(*this);
  }
}

bool KVSensor::isNormalCondition() const {
  switch (categoryType()) {
    case SensorTypeTemperature:
      return statusEnum() == KVSensorStatusNormalTemperature;
    case SensorTypeFan:
      return statusEnum() == KVSensorStatusNormalSpeed;
    default:
      return statusEnum() == KVSensorStatusOK;
  }
}

std::string_view KVSensor::statusDisplayKey(KVSensorStatus status) {
  const auto* const found = std::ranges::find(kDisplayedStatuses, status, &DisplayedStatus::status);
  return found == kDisplayedStatuses.end() ? std::string_view() : found->key;
}

std::string KVSensor::statusDisplay() const {
  return statusDisplay(KVLocalized::Texts(settings(), KVManagedObject::platform()));
}

std::string KVSensor::statusDisplay(const KVLocalized::Texts& texts) const {
  const std::string_view key = statusDisplayKey(statusEnum());
  return key.empty() ? "--" : texts.localizedStringForKey(key).value_or(std::string(key));
}

std::optional<std::string> KVSensor::statusExplanation() const {
  KVSettingsSnapshot snapshot(settings());
  return statusExplanation(snapshot);
}

std::optional<std::string> KVSensor::statusExplanation(KVSettings& settings) const {
  switch (statusEnum()) {
    case KVSensorStatusNormalTemperature:
      return "Sensor Temperature < " + temperatureText(highTemperatureOf(*this), settings);
    case KVSensorStatusHighTemperature:
      return "Sensor Temperature >= " + temperatureText(highTemperatureOf(*this), settings);
    case KVSensorStatusVeryHighTemperature:
      return "Sensor Temperature >= " + temperatureText(kVeryHighTemperature, settings);
    case KVSensorStatusFanStopped:
      return "Sensor Fan Speed = 0";
    case KVSensorStatusNormalSpeed:
      return "Sensor Fan Speed < " + speedText(speedAt(kHighSpeed, *this), settings);
    case KVSensorStatusHighSpeed:
      return "Sensor Fan Speed >= " + speedText(speedAt(kHighSpeed, *this), settings);
    case KVSensorStatusVeryHighSpeed:
      return "Sensor Fan Speed >= " + speedText(speedAt(kVeryHighSpeed, *this), settings);
    default:
      return std::nullopt;
  }
}

}  // namespace kelvora
