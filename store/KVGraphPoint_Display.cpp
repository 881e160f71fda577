#include <algorithm>
#include <chrono>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVGraphPoint.h"
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVValueConverter.h"

#include "presentation/FanPercentage.h"

namespace kelvora {

namespace {

using Seconds = std::chrono::duration<double>;

// Whole seconds within what a date holds on every system: the years 1678 to 2261.
constexpr double kLatestDate = 9'200'000'000;

KVExtension::Date dateOfSeconds(double sinceEpoch) {
  const double held = sinceEpoch > -kLatestDate ? std::min(sinceEpoch, kLatestDate) : -kLatestDate;
  return KVExtension::Date(std::chrono::floor<KVExtension::Date::duration>(Seconds(held)));
}

std::uint32_t categoryTypeOf(const KVSensorPtr& sensor) {
  return sensor == nullptr ? KVSensor::kNoCategoryType : sensor->categoryType();
}

}  // namespace

std::string KVGraphPoint::title() const {
  return KVExtension::dateTimeFormatForGraph(dateOfSeconds(pointX()));
}

double KVGraphPoint::convertedPointY() const { return convertedPointY(settings()); }

double KVGraphPoint::convertedPointY(KVSettings& settings) const {
  const KVSensorPtr owner = sensor();
  const std::uint32_t type = categoryTypeOf(owner);
  if (isShownAsPercentage(type, settings)) {
    return pointY() / owner->maxValue();
  }
  return type == SensorTypeTemperature ? KVValueConverter::convertedTemp(pointY(), settings)
                                       : pointY();
}

// Of one moment: another program may change the unit between the number and its unit.
std::string KVGraphPoint::valueString() const {
  KVSettingsSnapshot snapshot(settings());
  return valueString(snapshot);
}

std::string KVGraphPoint::valueString(KVSettings& settings) const {
  return KVValueConverter::fullStringFromValue(convertedPointY(settings), categoryTypeOf(sensor()),
                                               false, settings);
}

}  // namespace kelvora
