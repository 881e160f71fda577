#include <algorithm>
#include <array>

#include "KelvoraCore/KVCategory.h"
#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVValueConverter.h"

#include "presentation/FanPercentage.h"

namespace kelvora {

namespace {

constexpr std::string_view kCPUProximityKey = "TC0P";

// Formats of labels by category type.
constexpr std::array<std::string_view, 5> kLabelFormats{"Temp-%@", "Fan-%@", "Voltage-%@",
                                                        "Current-%@", "Power-%@"};

std::string textOf(std::string_view key, const KVLocalized::Texts& texts) {
  return texts.localizedStringForKey(key).value_or(std::string(key));
}

std::string formattedLabel(std::uint32_t categoryType, const std::string& fullName,
                           const KVLocalized::Texts& texts) {
  if (categoryType >= kLabelFormats.size()) {
    return fullName;
  }
  return KVExtension::replace(textOf(kLabelFormats.at(categoryType), texts), "%@", fullName);
}

// 0 also where nothing can be said: two equal limits make 0 divided by 0, which is not a number.
double clampedFraction(double part, double whole) {
  const double fraction = part / whole;
  return fraction > 0 ? std::min(fraction, 1.0) : 0;
}

}  // namespace

std::uint32_t KVSensor::categoryType() const {
  const KVCategoryPtr owner = category();
  return owner == nullptr ? kNoCategoryType : static_cast<std::uint32_t>(owner->type());
}

bool KVSensor::isCPUProximitySensor() const { return key() == kCPUProximityKey; }

bool KVSensor::isUnknownSensor() const {
  return group() == SensorGroupNone && key() == name() && key() == fullName();
}

std::string KVSensor::sensorDescription() const {
  return sensorDescription(KVLocalized::Texts(settings(), KVManagedObject::platform()));
}

// The text of a fan's own name comes before the format, which would give "Lüfter Fan 1".
std::string KVSensor::sensorDescription(const KVLocalized::Texts& texts) const {
  const std::uint32_t type = categoryType();
  const bool isFan = type == SensorTypeFan;
  const std::string lookedUp = isFan ? name() : key();
  std::string label = textOf(lookedUp, texts);
  if (label == lookedUp) {
    label = formattedLabel(type, fullName(), texts);
  }
  return isFan ? label : label + " (" + key() + ")";
}

double KVSensor::inUnitOfUser(double raw, KVSettings& settings) const {
  return categoryType() == SensorTypeTemperature ? KVValueConverter::convertedTemp(raw, settings)
                                                 : raw;
}

double KVSensor::convertedValue() const { return convertedValue(settings()); }

double KVSensor::convertedValue(KVSettings& settings) const {
  return isShownAsPercentage(categoryType(), settings)
             ? clampedFraction(value() - minValue(), maxValue() - minValue())
             : inUnitOfUser(value(), settings);
}

double KVSensor::convertedMinValue() const { return convertedMinValue(settings()); }

double KVSensor::convertedMinValue(KVSettings& settings) const {
  return isShownAsPercentage(categoryType(), settings) ? 0 : inUnitOfUser(minValue(), settings);
}

double KVSensor::convertedMaxValue() const { return convertedMaxValue(settings()); }

double KVSensor::convertedMaxValue(KVSettings& settings) const {
  return isShownAsPercentage(categoryType(), settings) ? 1 : inUnitOfUser(maxValue(), settings);
}

// Of one moment: another program may change the unit between the number and its unit.
std::string KVSensor::fullStringValue() const {
  KVSettingsSnapshot snapshot(settings());
  return fullStringValue(snapshot);
}

std::string KVSensor::fullStringValue(KVSettings& settings) const {
  return KVValueConverter::fullStringFromValue(convertedValue(settings), categoryType(), false,
                                               settings);
}

std::string KVSensor::tidyStringValue() const {
  KVSettingsSnapshot snapshot(settings());
  return tidyStringValue(snapshot);
}

std::string KVSensor::tidyStringValue(KVSettings& settings) const {
  return KVValueConverter::fullStringFromValue(convertedValue(settings), categoryType(), true,
                                               settings);
}

std::optional<std::string> KVSensor::unitString() const { return unitString(settings()); }

std::optional<std::string> KVSensor::unitString(KVSettings& settings) const {
  return KVValueConverter::unitStringFromCategoryType(categoryType(), false, settings);
}

SensorPtr KVSensor::toSensor() const {
  return Sensor::instanceWithKey(key(), name(), fullName(), value(), minValue(), maxValue(),
                                 categoryType(), static_cast<std::uint64_t>(group()),
                                 static_cast<std::uint64_t>(platform()),
                                 static_cast<std::uint64_t>(sourceType()), average());
}

}  // namespace kelvora
