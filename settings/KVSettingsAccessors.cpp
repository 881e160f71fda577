// One getter and one setter per plain setting, over the table's row.
#include <utility>

#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora {

bool KVSettings::manualLinkEnabled() { return boolean(KVSettingID::kManualLinkEnabled); }
bool KVSettings::setManualLinkEnabled(bool enabled) {
  return set(KVSettingID::kManualLinkEnabled, enabled);
}

bool KVSettings::autoBoostNotificationEnabled() {
  return boolean(KVSettingID::kAutoBoostNotificationEnabled);
}
bool KVSettings::setAutoBoostNotificationEnabled(bool enabled) {
  return set(KVSettingID::kAutoBoostNotificationEnabled, enabled);
}

std::int64_t KVSettings::fanControlMode() { return integer(KVSettingID::kFanControlMode); }
bool KVSettings::setFanControlMode(std::int64_t mode) {
  return set(KVSettingID::kFanControlMode, mode);
}

std::optional<std::string> KVSettings::manualFanSetId() {
  return text(KVSettingID::kManualFanSetId);
}
bool KVSettings::setManualFanSetId(std::optional<std::string> identifier) {
  return set(KVSettingID::kManualFanSetId, std::move(identifier));
}

bool KVSettings::didAutoBoost() { return boolean(KVSettingID::kDidAutoBoost); }
bool KVSettings::setDidAutoBoost(bool boosted) { return set(KVSettingID::kDidAutoBoost, boosted); }

bool KVSettings::fileLoggingEnabled() { return boolean(KVSettingID::kFileLoggingEnabled); }
bool KVSettings::setFileLoggingEnabled(bool enabled) {
  return set(KVSettingID::kFileLoggingEnabled, enabled);
}

std::optional<std::string> KVSettings::fileLoggingPath() {
  return text(KVSettingID::kFileLoggingPath);
}
bool KVSettings::setFileLoggingPath(std::optional<std::string> path) {
  return set(KVSettingID::kFileLoggingPath, std::move(path));
}

std::int64_t KVSettings::fileLoggingResetMode() {
  return integer(KVSettingID::kFileLoggingResetMode);
}
bool KVSettings::setFileLoggingResetMode(std::int64_t mode) {
  return set(KVSettingID::kFileLoggingResetMode, mode);
}

bool KVSettings::openAtLogin() { return boolean(KVSettingID::kOpenAtLogin); }
bool KVSettings::setOpenAtLogin(std::optional<bool> open) {
  return set(KVSettingID::kOpenAtLogin, open);
}

std::int64_t KVSettings::graphTimeRange() { return integer(KVSettingID::kGraphTimeRange); }
bool KVSettings::setGraphTimeRange(std::int64_t range) {
  return set(KVSettingID::kGraphTimeRange, range);
}

std::int64_t KVSettings::updateFrequency() { return integer(KVSettingID::kUpdateFrequency); }
bool KVSettings::setUpdateFrequency(std::int64_t frequency) {
  return set(KVSettingID::kUpdateFrequency, frequency);
}

bool KVSettings::showTempInMenu() { return boolean(KVSettingID::kShowTempInMenu); }
bool KVSettings::setShowTempInMenu(bool show) { return set(KVSettingID::kShowTempInMenu, show); }

bool KVSettings::showIconInMenu() { return boolean(KVSettingID::kShowIconInMenu); }
bool KVSettings::setShowIconInMenu(bool show) { return set(KVSettingID::kShowIconInMenu, show); }

bool KVSettings::tempUnitCelsius() { return boolean(KVSettingID::kTempUnitCelsius); }
bool KVSettings::setTempUnitCelsius(bool celsius) {
  return set(KVSettingID::kTempUnitCelsius, celsius);
}

bool KVSettings::showUnknownSensors() { return boolean(KVSettingID::kShowUnknownSensors); }
bool KVSettings::setShowUnknownSensors(bool show) {
  return set(KVSettingID::kShowUnknownSensors, show);
}

bool KVSettings::showHIDSensors() { return boolean(KVSettingID::kShowHIDSensors); }
bool KVSettings::setShowHIDSensors(bool show) { return set(KVSettingID::kShowHIDSensors, show); }

bool KVSettings::showComputedSensors() { return boolean(KVSettingID::kShowComputedSensors); }
bool KVSettings::setShowComputedSensors(bool show) {
  return set(KVSettingID::kShowComputedSensors, show);
}

bool KVSettings::showsSensor(std::uint64_t sourceType, bool isUnknown) {
  switch (sourceType) {
    case SensorSourceComputed:
      return showComputedSensors();
    case SensorSourceHID:
      return showHIDSensors();
    default:
      return !isUnknown || showUnknownSensors();
  }
}

std::int64_t KVSettings::fanValueType() { return integer(KVSettingID::kFanValueType); }
bool KVSettings::setFanValueType(std::int64_t type) {
  return set(KVSettingID::kFanValueType, type);
}

std::int64_t KVSettings::appLaunchCount() { return integer(KVSettingID::kAppLaunchCount); }
bool KVSettings::setAppLaunchCount(std::int64_t count) {
  return set(KVSettingID::kAppLaunchCount, count);
}

bool KVSettings::setFileLoggingSensorKeys(std::optional<std::vector<std::string>> keys) {
  return set(
      KVSettingID::kFileLoggingSensorKeys,
      keys ? std::optional<PropertyListValue>(PropertyListValue::Array(keys->begin(), keys->end()))
           : std::nullopt);
}

}  // namespace kelvora
