// One getter and one setter per plain setting, over the table's row.
#include <utility>

#include "KelvoraCore/KVSettings.h"

namespace kelvora {

bool KVSettings::manualLinkEnabled() { return boolean(KVSettingID::kManualLinkEnabled); }
void KVSettings::setManualLinkEnabled(bool enabled) {
  set(KVSettingID::kManualLinkEnabled, enabled);
}

bool KVSettings::autoBoostNotificationEnabled() {
  return boolean(KVSettingID::kAutoBoostNotificationEnabled);
}
void KVSettings::setAutoBoostNotificationEnabled(bool enabled) {
  set(KVSettingID::kAutoBoostNotificationEnabled, enabled);
}

std::int64_t KVSettings::fanControlMode() { return integer(KVSettingID::kFanControlMode); }
void KVSettings::setFanControlMode(std::int64_t mode) { set(KVSettingID::kFanControlMode, mode); }

std::optional<std::string> KVSettings::manualFanSetId() {
  return text(KVSettingID::kManualFanSetId);
}
void KVSettings::setManualFanSetId(std::optional<std::string> identifier) {
  set(KVSettingID::kManualFanSetId, std::move(identifier));
}

bool KVSettings::didAutoBoost() { return boolean(KVSettingID::kDidAutoBoost); }
void KVSettings::setDidAutoBoost(bool boosted) { set(KVSettingID::kDidAutoBoost, boosted); }

bool KVSettings::fileLoggingEnabled() { return boolean(KVSettingID::kFileLoggingEnabled); }
void KVSettings::setFileLoggingEnabled(bool enabled) {
  set(KVSettingID::kFileLoggingEnabled, enabled);
}

std::optional<std::string> KVSettings::fileLoggingPath() {
  return text(KVSettingID::kFileLoggingPath);
}
void KVSettings::setFileLoggingPath(std::optional<std::string> path) {
  set(KVSettingID::kFileLoggingPath, std::move(path));
}

std::int64_t KVSettings::fileLoggingResetMode() {
  return integer(KVSettingID::kFileLoggingResetMode);
}
void KVSettings::setFileLoggingResetMode(std::int64_t mode) {
  set(KVSettingID::kFileLoggingResetMode, mode);
}

bool KVSettings::openAtLogin() { return boolean(KVSettingID::kOpenAtLogin); }
void KVSettings::setOpenAtLogin(std::optional<bool> open) { set(KVSettingID::kOpenAtLogin, open); }

std::int64_t KVSettings::graphTimeRange() { return integer(KVSettingID::kGraphTimeRange); }
void KVSettings::setGraphTimeRange(std::int64_t range) { set(KVSettingID::kGraphTimeRange, range); }

std::int64_t KVSettings::updateFrequency() { return integer(KVSettingID::kUpdateFrequency); }
void KVSettings::setUpdateFrequency(std::int64_t frequency) {
  set(KVSettingID::kUpdateFrequency, frequency);
}

bool KVSettings::showTempInMenu() { return boolean(KVSettingID::kShowTempInMenu); }
void KVSettings::setShowTempInMenu(bool show) { set(KVSettingID::kShowTempInMenu, show); }

bool KVSettings::showIconInMenu() { return boolean(KVSettingID::kShowIconInMenu); }
void KVSettings::setShowIconInMenu(bool show) { set(KVSettingID::kShowIconInMenu, show); }

bool KVSettings::tempUnitCelsius() { return boolean(KVSettingID::kTempUnitCelsius); }
void KVSettings::setTempUnitCelsius(bool celsius) { set(KVSettingID::kTempUnitCelsius, celsius); }

bool KVSettings::showUnknownSensors() { return boolean(KVSettingID::kShowUnknownSensors); }
void KVSettings::setShowUnknownSensors(bool show) { set(KVSettingID::kShowUnknownSensors, show); }

bool KVSettings::showHIDSensors() { return boolean(KVSettingID::kShowHIDSensors); }
void KVSettings::setShowHIDSensors(bool show) { set(KVSettingID::kShowHIDSensors, show); }

bool KVSettings::showComputedSensors() { return boolean(KVSettingID::kShowComputedSensors); }
void KVSettings::setShowComputedSensors(bool show) { set(KVSettingID::kShowComputedSensors, show); }

std::int64_t KVSettings::fanValueType() { return integer(KVSettingID::kFanValueType); }
void KVSettings::setFanValueType(std::int64_t type) { set(KVSettingID::kFanValueType, type); }

std::int64_t KVSettings::appLaunchCount() { return integer(KVSettingID::kAppLaunchCount); }
void KVSettings::setAppLaunchCount(std::int64_t count) { set(KVSettingID::kAppLaunchCount, count); }

void KVSettings::setFileLoggingSensorKeys(std::optional<std::vector<std::string>> keys) {
  set(KVSettingID::kFileLoggingSensorKeys,
      keys ? std::optional<PropertyListValue>(PropertyListValue::Array(keys->begin(), keys->end()))
           : std::nullopt);
}

}  // namespace kelvora
