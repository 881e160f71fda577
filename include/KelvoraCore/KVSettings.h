#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

namespace platform {
class UserDefaultsSuite;
}  // namespace platform

/// The user's settings, shared by all programs of the product through one suite of user defaults.
///
/// A getter reads the suite each time, so it returns what any program last wrote. A missing value,
/// or one of another type, gives the setting's default. Where the table says so, the getter that
/// finds the key absent stores the default, unless another program stores a value first.
///
/// A setter writes and flushes the suite. For settings that other programs follow it later
/// broadcasts a notification from the main thread. It returns whether the value was stored. On
/// failure nothing changes and nothing is broadcast, now or later; the suite logs the reason once
/// until a write succeeds. Any thread.
class KELVORA_EXPORT KVSettings {
 public:
  /// Opens the shared suite of a platform, which must outlive the object. Reads and writes nothing.
  explicit KVSettings(Platform& platform = Platform::current());
  virtual ~KVSettings();
  KVSettings(const KVSettings&) = delete;
  KVSettings& operator=(const KVSettings&) = delete;

  /// The process's settings on the current platform, created on the first call. Never destroyed.
  static KVSettings& shared();

  /// The value of a setting, its default included, as its row's type; none when there is neither a
  /// value nor a default.
  std::optional<PropertyListValue> value(const KVSetting& setting);
  /// What `value` returns while the suite holds nothing for the setting. Stores nothing.
  std::optional<PropertyListValue> defaultValue(const KVSetting& setting);
  /// Whether the suite holds a value of the right type, so that `value` returns no default.
  bool isStored(const KVSetting& setting);
  /// Stores a value of the row's type, or with none removes the key; flushes and broadcasts.
  /// Throws std::invalid_argument for a value of another type. Returns false, and logs it, for a
  /// text that is not UTF-8 or holds a NUL, since another one would be stored.
  bool setValue(const KVSetting& setting, std::optional<PropertyListValue> value);

  // One getter and one setter per setting; docs/settings.md lists keys, defaults and
  // notifications.

  bool manualLinkEnabled();
  bool setManualLinkEnabled(bool enabled);
  bool autoBoostNotificationEnabled();
  bool setAutoBoostNotificationEnabled(bool enabled);
  /// A number whose meaning is the host's; the library only keeps it.
  std::int64_t fanControlMode();
  bool setFanControlMode(std::int64_t mode);
  /// Identifier of a fan set. A value under the older key "KVFanControllerFanSetNameKey" is copied
  /// once; the older key is never removed.
  std::optional<std::string> manualFanSetId();
  bool setManualFanSetId(std::optional<std::string> identifier);
  bool didAutoBoost();
  bool setDidAutoBoost(bool boosted);

  /// Whether the host writes readings to a file; false by default.
  bool fileLoggingEnabled();
  bool setFileLoggingEnabled(bool enabled);
  /// "/Users/anna/Documents/Kelvora Log.csv" by default; none when the system has no documents
  /// folder.
  std::optional<std::string> fileLoggingPath();
  bool setFileLoggingPath(std::optional<std::string> path);
  bool setFileLoggingSensorKeys(std::optional<std::vector<std::string>> keys);
  /// A number whose meaning is the host's; the library only keeps it.
  std::int64_t fileLoggingResetMode();
  bool setFileLoggingResetMode(std::int64_t mode);

  /// Whether the product starts when the user logs in; false by default.
  bool openAtLogin();
  /// None removes the setting: the next read gives false.
  bool setOpenAtLogin(std::optional<bool> open);

  /// Codes of the languages that the programs can show, in this order: "en", "fr", "de", "es",
  /// "tr", "vi", "zh-Hans", "zh-Hant".
  const std::vector<std::string>& allLanguages() const;
  /// The stored language. The first time: the user's first preferred localisation if it is one of
  /// `allLanguages`, else "en".
  std::string currentLanguage();
  /// Does nothing and returns true when `code` is what this object last returned or stored.
  bool setCurrentLanguage(const std::string& code);

  /// 0 hour, 1 day, 2 week.
  std::int64_t graphTimeRange();
  bool setGraphTimeRange(std::int64_t range);
  /// 0, 1 or 2: every 2, 5 or 10 seconds.
  std::int64_t updateFrequency();
  bool setUpdateFrequency(std::int64_t frequency);
  /// Seconds between samples: 2.0, 5.0 or 10.0 by `updateFrequency`; 2.0 for any other number.
  double updateInterval();

  /// What the menu bar shows; both true by default.
  bool showTempInMenu();
  bool setShowTempInMenu(bool show);
  bool showIconInMenu();
  bool setShowIconInMenu(bool show);
  /// Whether temperatures are shown in degrees Celsius, else in Fahrenheit.
  bool tempUnitCelsius();
  bool setTempUnitCelsius(bool celsius);
  /// False while it was never set.
  bool showUnknownSensors();
  bool setShowUnknownSensors(bool show);
  /// False while it was never set.
  bool showHIDSensors();
  bool setShowHIDSensors(bool show);
  bool showComputedSensors();
  bool setShowComputedSensors(bool show);
  /// Whether the three settings above let a sensor be shown, by its SensorSourceType: a computed or
  /// an HID sensor as its setting says, any other unless it is unknown (as
  /// `KVSensor::isUnknownSensor`) and unknown ones are hidden.
  bool showsSensor(std::uint64_t sourceType, bool isUnknown);
  /// 0 revolutions per minute, 1 percentage of the fan's range.
  std::int64_t fanValueType();
  bool setFanValueType(std::int64_t type);
  std::int64_t appLaunchCount();
  bool setAppLaunchCount(std::int64_t count);

 protected:
  /// Settings over another suite than the shared one.
  KVSettings(Platform& platform, std::unique_ptr<platform::UserDefaultsSuite> suite);

  /// The default of a setting whose default is computed; none when it has none. A subclass returns
  /// the defaults of its own settings and calls this one for the others.
  virtual std::optional<PropertyListValue> computedDefault(const KVSetting& setting);

  /// Stores a value for a setting that has none, or one of another type; flushes, and broadcasts
  /// nothing. A value that another program stored meanwhile stays.
  void storeIfNotStored(const KVSetting& setting, const PropertyListValue& value);

  /// Broadcasts a stored value (none: a removed key) as the setting's row says.
  virtual void announce(const KVSetting& setting, const std::optional<PropertyListValue>& value);

  /// Returns the value to store for a setting, given its current value (none if absent or of
  /// another type). To store nothing, return none. Must not use the settings.
  using Change =
      std::function<std::optional<PropertyListValue>(const std::optional<PropertyListValue>&)>;

  /// Reads a stored value, changes it and stores it in one step: no program of this library writes
  /// the suite meanwhile. Otherwise as `setValue`. Returns whether a value was stored.
  bool changeValue(const KVSetting& setting, const Change& change);

  /// Stores and broadcasts a default if the key is still absent. Returns whether it was stored.
  bool announceDefault(const KVSetting& setting, const PropertyListValue& value);

  /// The platform given to the constructor.
  Platform& platform() const { return platform_; }

 private:
  friend class KVSettingsSnapshot;

  std::optional<PropertyListValue> stored(const KVSetting& setting);
  PropertyListValue storeDefault(const KVSetting& setting, PropertyListValue fallback);
  bool announced(const KVSetting& setting, const std::optional<PropertyListValue>& value);
  bool boolean(KVSettingID id);
  std::int64_t integer(KVSettingID id);
  std::optional<std::string> text(KVSettingID id);
  bool set(KVSettingID id, std::optional<PropertyListValue> value);
  std::string preferredLanguage() const;

  Platform& platform_;
  std::unique_ptr<platform::UserDefaultsSuite> suite_;
  std::mutex languageMutex_;
  std::optional<std::string> language_;  // last returned or stored
};

}  // namespace kelvora
