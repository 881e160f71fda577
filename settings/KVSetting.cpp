#include "KelvoraCore/KVSetting.h"

#include <algorithm>
#include <array>

namespace kelvora {

namespace {

using ID = KVSettingID;
using Type = KVSettingType;
using Default = KVSettingDefault;

constexpr const char* kSettings = KVDataManagerSettingsDidChangeNotification;
// The fan value type is announced under this name too: hosts redraw the same values for both.
constexpr const char* kUpdateFrequency = KVDataManagerUpdateFrequencyDidChangeNotification;
constexpr const char* kNotAnnounced = "";

constexpr bool kWrittenBack = true;
constexpr bool kNotWrittenBack = false;
constexpr bool kUserInfo = true;
constexpr bool kNoUserInfo = false;

// clang-format off
constexpr std::array<KVSetting, kSettingCount> kTable{{
    {ID::kMainSensor, "mainSensor", "KVMainSensor",
     Type::kText, Default::kComputed, kWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kMenuSensors, "menuSensors", "KVMenuSensors",
     Type::kTextList, Default::kComputed, kWrittenBack, KVDataManagerMenuSensorsDidChangeNotification, kNoUserInfo},
    {ID::kOverheatNotifications, "overheatNotifications", "KVOverheatNotificationsKey",
     Type::kData, Default::kComputed, kNotWrittenBack, KVDataManagerOverheatListDidChangeNotification, kNoUserInfo},
    {ID::kManualLinkEnabled, "manualLinkEnabled", "KVFanControllerManualLinkEnabledKey",
     Type::kBoolean, Default::kTrue, kNotWrittenBack, kSettings, kNoUserInfo},
    {ID::kAutoBoostNotificationEnabled, "autoBoostNotificationEnabled", "KVFanControllerAutoBoostNotificationEnabledKey",
     Type::kBoolean, Default::kFalse, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kFanControlMode, "fanControlMode", "KVFanControllerModeKey",
     Type::kInteger, Default::kZero, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kManualFanSetId, "manualFanSetId", "KVFanControllerManualFanSetIdKey",
     Type::kText, Default::kComputed, kWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kDidAutoBoost, "didAutoBoost", "KVFanControllerDidAutoBoostKey",
     Type::kBoolean, Default::kFalse, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kFileLoggingEnabled, "fileLoggingEnabled", "KVFileLoggingEnabledKey",
     Type::kBoolean, Default::kFalse, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kFileLoggingPath, "fileLoggingPath", "KVFileLoggingPathKey",
     Type::kText, Default::kComputed, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kFileLoggingSensorKeys, "fileLoggingSensorKeys", "KVFileLoggingSensorsKey",
     Type::kTextList, Default::kComputed, kNotWrittenBack, KVDataManagerFileLoggingSensorKeysDidChangeNotification, kNoUserInfo},
    {ID::kFileLoggingResetMode, "fileLoggingResetMode", "KVFileLoggingResetModeKey",
     Type::kInteger, Default::kZero, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kOpenAtLogin, "openAtLogin", "KVOpenAtLogin",
     Type::kBoolean, Default::kFalse, kWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kCurrentLanguage, "currentLanguage", "CURRENT_LANGUAGE_KEY",
     Type::kText, Default::kComputed, kWrittenBack, KVDataManagerLanguageDidChangeNotification, kNoUserInfo},
    {ID::kGraphTimeRange, "graphTimeRange", "KVGraphTimeRangeKey",
     Type::kInteger, Default::kZero, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
    {ID::kUpdateFrequency, "updateFrequency", "KVUpdateFrequencyKey",
     Type::kInteger, Default::kZero, kNotWrittenBack, kUpdateFrequency, kNoUserInfo},
    {ID::kShowTempInMenu, "showTempInMenu", "KVShowTempInMenu",
     Type::kBoolean, Default::kTrue, kWrittenBack, kSettings, kNoUserInfo},
    {ID::kShowIconInMenu, "showIconInMenu", "KVShowIconInMenu",
     Type::kBoolean, Default::kTrue, kWrittenBack, kSettings, kNoUserInfo},
    {ID::kDropdownItems, "dropdownItems", "KVDropdownItemsKey",
     Type::kItemList, Default::kComputed, kNotWrittenBack, kSettings, kNoUserInfo},
    {ID::kTempUnitCelsius, "tempUnitCelsius", "KVTempUnitCelsius",
     Type::kBoolean, Default::kTrue, kWrittenBack, kSettings, kNoUserInfo},
    {ID::kShowUnknownSensors, "showUnknownSensors", "KVShowUnknownSensorsKey",
     Type::kBoolean, Default::kNone, kNotWrittenBack, kSettings, kUserInfo},
    {ID::kShowHIDSensors, "showHIDSensors", "KVShowHIDSensorsKey",
     Type::kBoolean, Default::kNone, kNotWrittenBack, kSettings, kUserInfo},
    {ID::kShowComputedSensors, "showComputedSensors", "KVShowComputedSensorsKey",
     Type::kBoolean, Default::kTrue, kNotWrittenBack, kSettings, kUserInfo},
    {ID::kFanValueType, "fanValueType", "KVFanValueTypeKey",
     Type::kInteger, Default::kZero, kNotWrittenBack, kUpdateFrequency, kUserInfo},
    {ID::kAppLaunchCount, "appLaunchCount", "KVAppLaunchCountKey",
     Type::kInteger, Default::kZero, kNotWrittenBack, kNotAnnounced, kNoUserInfo},
}};
// clang-format on

}  // namespace

std::span<const KVSetting> allSettings() { return kTable; }

const KVSetting& settingOf(KVSettingID id) { return kTable.at(static_cast<std::size_t>(id)); }

const KVSetting* settingOfProperty(std::string_view property) {
  const auto found = std::find_if(kTable.begin(), kTable.end(), [&](const KVSetting& setting) {
    return setting.property == property;
  });
  return found == kTable.end() ? nullptr : &*found;
}

}  // namespace kelvora
