#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

// Names of the notifications that the product's programs send each other on the distributed
// notification centre, without a sender object.
inline constexpr char KVDataManagerSettingsDidChangeNotification[] =
    "KVDataManagerSettingsDidChangeNotification";
inline constexpr char KVDataManagerLanguageDidChangeNotification[] =
    "KVDataManagerLanguageDidChangeNotification";
inline constexpr char KVDataManagerMenuSensorsDidChangeNotification[] =
    "KVDataManagerMenuSensorsDidChangeNotification";
inline constexpr char KVDataManagerUpdateFrequencyDidChangeNotification[] =
    "KVDataManagerUpdateFrequencyDidChangeNotification";
inline constexpr char KVDataManagerOverheatListDidChangeNotification[] =
    "KVDataManagerOverheatListDidChangeNotification";
inline constexpr char KVDataManagerFileLoggingSensorKeysDidChangeNotification[] =
    "KVDataManagerFileLoggingSensorKeysDidChangeNotification";

/// How a setting is stored in the shared suite.
enum class KVSettingType : std::uint8_t {
  kBoolean,   ///< a boolean; any number counts, 0 as false
  kInteger,   ///< a whole number; a boolean counts as 0 or 1
  kText,      ///< a text
  kTextList,  ///< an array of texts
  kItemList,  ///< an array of dictionaries with one entry, a name and a boolean
  kData,      ///< bytes of an archive
};

/// The value of a setting while its key is absent, or holds a value of another type.
enum class KVSettingDefault : std::uint8_t {
  kNone,  ///< no value; every reader treats that as false
  kFalse,
  kTrue,
  kZero,
  kComputed,  ///< computed on each read; may be none
};

/// The settings, in the order of `allSettings()`.
enum class KVSettingID : std::uint8_t {
  kMainSensor,
  kMenuSensors,
  kOverheatNotifications,
  kManualLinkEnabled,
  kAutoBoostNotificationEnabled,
  kFanControlMode,
  kManualFanSetId,
  kDidAutoBoost,
  kFileLoggingEnabled,
  kFileLoggingPath,
  kFileLoggingSensorKeys,
  kFileLoggingResetMode,
  kOpenAtLogin,
  kCurrentLanguage,
  kGraphTimeRange,
  kUpdateFrequency,
  kShowTempInMenu,
  kShowIconInMenu,
  kDropdownItems,
  kTempUnitCelsius,
  kShowUnknownSensors,
  kShowHIDSensors,
  kShowComputedSensors,
  kFanValueType,
  kAppLaunchCount,
};

inline constexpr std::size_t kSettingCount = 25;

/// One setting of the shared suite.
struct KELVORA_EXPORT KVSetting {
  KVSettingID id;
  std::string_view property;  ///< e.g. "tempUnitCelsius"
  std::string_view key;       ///< in the suite, e.g. "KVTempUnitCelsius"
  KVSettingType type;
  KVSettingDefault defaultValue;
  bool isDefaultWrittenBack;      ///< by the getter that finds the key absent
  std::string_view notification;  ///< broadcast by the setter; empty for none
  bool hasUserInfo;  ///< the broadcast carries one entry, from the key to the new value
};

/// Every setting, in the order of KVSettingID. Valid for the process's life. Any thread.
KELVORA_EXPORT std::span<const KVSetting> allSettings();

/// The setting with an identifier. Throws std::out_of_range for a number that is not an identifier.
/// Any thread.
KELVORA_EXPORT const KVSetting& settingOf(KVSettingID id);

/// The setting of a property, e.g. "tempUnitCelsius"; null when no setting has that name. Any
/// thread.
KELVORA_EXPORT const KVSetting* settingOfProperty(std::string_view property);

}  // namespace kelvora
