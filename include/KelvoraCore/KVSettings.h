#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

class Platform;

namespace platform {
class UserDefaultsSuite;
}  // namespace platform

/// The user's settings, shared by all programs of the product through one suite of user defaults.
///
/// A getter reads the suite each time, so it answers what any program last wrote; a missing value,
/// or one of another type, gives the setting's default. A setter writes the suite, flushes it, and
/// for settings that other programs follow broadcasts a notification: asynchronously, from the main
/// thread, after the setter has returned. Failures to write are logged once by the suite; this
/// program goes on with the new value. Any thread.
class KELVORA_EXPORT KVSettings {
 public:
  KVSettings();
  explicit KVSettings(Platform& platform);
  virtual ~KVSettings();
  KVSettings(const KVSettings&) = delete;
  KVSettings& operator=(const KVSettings&) = delete;

  /// The process's settings on the current platform, created on the first call.
  static KVSettings& shared();

  /// A setting by its row, default included (and written back where the row says so), as a value of
  /// the row's type; none when there is neither a value nor a default.
  std::optional<PropertyListValue> value(const KVSetting& setting);
  /// What `value` answers while the suite holds nothing for the setting. Never written back.
  std::optional<PropertyListValue> defaultValue(const KVSetting& setting);
  /// Whether the suite holds a value of the right type, so that no default is answered.
  bool isStored(const KVSetting& setting);
  /// Stores a value of the row's type, or with none removes the key, then flushes and broadcasts.
  /// Throws std::invalid_argument for a value of another type.
  void setValue(const KVSetting& setting, std::optional<PropertyListValue> value);

  bool manualLinkEnabled();
  void setManualLinkEnabled(bool enabled);
  bool autoBoostNotificationEnabled();
  void setAutoBoostNotificationEnabled(bool enabled);
  /// The hosts' own number; the library only keeps it.
  std::int64_t fanControlMode();
  void setFanControlMode(std::int64_t mode);
  /// Identifier of a fan set. A value under the older key "KVFanControllerFanSetNameKey" is taken
  /// over once, and stays there.
  std::optional<std::string> manualFanSetId();
  void setManualFanSetId(std::optional<std::string> identifier);
  bool didAutoBoost();
  void setDidAutoBoost(bool boosted);

  bool fileLoggingEnabled();
  void setFileLoggingEnabled(bool enabled);
  /// "/Users/anna/Documents/Kelvora Log.csv" by default; none when the system has no documents
  /// folder.
  std::optional<std::string> fileLoggingPath();
  void setFileLoggingPath(std::optional<std::string> path);
  void setFileLoggingSensorKeys(std::optional<std::vector<std::string>> keys);
  /// The hosts' own number; the library only keeps it.
  std::int64_t fileLoggingResetMode();
  void setFileLoggingResetMode(std::int64_t mode);

  bool openAtLogin();
  /// None removes the setting: the next read gives false.
  void setOpenAtLogin(std::optional<bool> open);

  /// Codes of the languages that the programs can show, in this order: "en", "fr", "de", "es",
  /// "tr", "vi", "zh-Hans", "zh-Hant".
  const std::vector<std::string>& allLanguages() const;
  /// The first time: the user's first preferred localisation if it is one of `allLanguages`, else
  /// "en"; then what was stored.
  std::string currentLanguage();
  /// Does nothing when `code` is what this object last answered or took.
  void setCurrentLanguage(const std::string& code);

  /// 0 hour, 1 day, 2 week.
  std::int64_t graphTimeRange();
  void setGraphTimeRange(std::int64_t range);
  /// 0, 1 or 2: every 2, 5 or 10 seconds.
  std::int64_t updateFrequency();
  void setUpdateFrequency(std::int64_t frequency);
  /// Seconds between samples: 2.0, 5.0 or 10.0 by `updateFrequency`; 2.0 for any other number.
  double updateInterval();

  bool showTempInMenu();
  void setShowTempInMenu(bool show);
  bool showIconInMenu();
  void setShowIconInMenu(bool show);
  /// Whether temperatures are shown in degrees Celsius, else in Fahrenheit.
  bool tempUnitCelsius();
  void setTempUnitCelsius(bool celsius);
  /// False while it was never set.
  bool showUnknownSensors();
  void setShowUnknownSensors(bool show);
  /// False while it was never set.
  bool showHIDSensors();
  void setShowHIDSensors(bool show);
  bool showComputedSensors();
  void setShowComputedSensors(bool show);
  /// 0 revolutions per minute, 1 percentage of the fan's range.
  std::int64_t fanValueType();
  void setFanValueType(std::int64_t type);
  std::int64_t appLaunchCount();
  void setAppLaunchCount(std::int64_t count);

 protected:
  /// The default of a setting whose default is computed; none where there is none. A class that
  /// knows more than the suite answers for its own settings and passes the others on.
  virtual std::optional<PropertyListValue> computedDefault(const KVSetting& setting);

  Platform& platform() const { return platform_; }

 private:
  std::optional<PropertyListValue> stored(const KVSetting& setting);
  bool boolean(KVSettingID id);
  std::int64_t integer(KVSettingID id);
  std::optional<std::string> text(KVSettingID id);
  void set(KVSettingID id, std::optional<PropertyListValue> value);
  std::string preferredLanguage() const;

  Platform& platform_;
  std::unique_ptr<platform::UserDefaultsSuite> suite_;
  std::mutex languageMutex_;
  std::optional<std::string> language_;  // last answered or taken
};

}  // namespace kelvora
