#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVError.h"
#include "KelvoraCore/KVNotification.h"
#include "KelvoraCore/KVSerialQueue.h"
#include "KelvoraCore/KVSettings.h"

namespace kelvora {

/// A host posts this name, without an object, on the in-process notification centre when it has
/// generated the sensor dataset in the store; `KVDataManager::postDidGenerateDataset` does so. The
/// library itself never posts it.
inline constexpr char KVDataManagerDidGenerateDatasetNotification[] =
    "KVDataManagerDidGenerateDatasetNotification";

/// One line of the menu's dropdown, e.g. {"main_sensor", true}.
struct KELVORA_EXPORT KVDropdownItem {
  std::string name;  ///< "main_sensor", "fan_control" or a category's name
  bool isShown = true;
  friend bool operator==(const KVDropdownItem&, const KVDropdownItem&) = default;
};

/// The settings together with the store. Getters and setters behave as in KVSettings; those below
/// use the store's view context, so only the main thread may call them.
class KELVORA_EXPORT KVDataManager : public KVSettings {
 public:
  /// The process's manager on the current platform, created on the first call, in the application
  /// mode that was set by then. Never destroyed.
  static KVDataManager& shared();

  /// The process's application mode. In mode 1 the manager's store keeps values once read; in any
  /// other it always shows what any program last saved. Any thread.
  static std::int64_t appMode();
  static void setAppMode(std::int64_t mode);
  /// The same as `setAppMode`: a host calls it once, before `shared`.
  static void setupWithAppMode(std::int64_t mode);

  /// Opens settings and store of a platform, which must outlive the object. Listens to
  /// KVDataManagerDidGenerateDatasetNotification until the object is destroyed.
  explicit KVDataManager(Platform& platform = Platform::current());
  ~KVDataManager() override;

  /// The store; owned by the manager.
  KVCoreDataStore& coreDataStore() { return *store_; }

  /// The sensor that represents the machine. The first time, "TC0P" if the store has it. Null when
  /// no sensor is chosen, and when the chosen one is no longer in the store; the choice then stays.
  KVSensorPtr mainSensor();
  /// Null makes the next `mainSensor` choose again. Returns whether the choice was stored.
  bool setMainSensor(const KVSensorPtr& sensor);

  /// Keys of the sensors in the menu bar, in order. The default is the main sensor's key; none
  /// without a main sensor.
  std::optional<std::vector<std::string>> menuSensors();
  bool setMenuSensors(std::optional<std::vector<std::string>> keys);

  /// Keys of the sensors that are logged to a file. If none are chosen, the call returns none and
  /// stores the keys of all sensors that the display settings show, ordered by category; later
  /// calls return those. If no sensor is shown, it stores nothing.
  std::optional<std::vector<std::string>> fileLoggingSensorKeys();

  /// The lines of the dropdown: the stored ones (at first "main_sensor" and "fan_control"), then
  /// every category of the store that they do not list, shown. Lines of categories that no longer
  /// exist stay.
  std::vector<KVDropdownItem> dropdownItems();
  bool setDropdownItems(const std::vector<KVDropdownItem>& items);

  // Custom sensors, and clearing the data.

  /// Whether an operation was done, and the error for the user if it was not.
  using Completion = std::function<void(bool done, std::optional<KVError> error)>;

  /// Adds a sensor by the texts "key" and "name", the number "category_type" (a SensorType) and the
  /// number "value", its first reading: {{"key", "TCXX"}, {"name", "Desk"}, {"category_type", 0},
  /// {"value", 21.5}}. It comes last in its category; a temperature gets the limits 0 and 110. A
  /// sensor with that key keeps its names, and takes the value, the limits and the category.
  ///
  /// Saves the view context, with what is unsaved there, and then calls `completion` on the calling
  /// thread. Fails with error 0 without a key, a name or a category of the type, for a fan, and
  /// when the save fails: then nothing is added, now or later. `completion` may be empty.
  void addCustomSensor(const PropertyListValue::Dictionary& info, const Completion& completion);

  /// Deletes a sensor that the user added, with its history, and takes its key out of
  /// `menuSensors`, which is broadcast even if it was not there. Saves and completes as
  /// `addCustomSensor` does. Fails with error 4 for null and for any other sensor, and with error 0
  /// when the save fails: then nothing is removed, now or later.
  void removeCustomSensor(const KVSensorPtr& sensor, const Completion& completion);

  /// Forgets the main sensor, the menu sensors and `openAtLogin`, and removes the files of stored
  /// objects: every entry of the group's folder whose extension is "sqlite", "sqlite-shm" or
  /// "sqlite-wal". Other files and settings stay; failures are ignored. The store stays open: it
  /// keeps its current values, and its saves fail from now on, in every program that has it open.
  void clearData();

  /// The fan set that the user has chosen by hand, by the setting `manualFanSetId`; null when none
  /// is chosen or it is no longer in the store.
  KVFanSetPtr manualFanSet();

  // Overheat rules. A host compares them with its readings; the library keeps them.

  /// One rule for the main sensor: active, not repeated, 70 degrees Celsius, or 158 when the user
  /// has chosen Fahrenheit. Without a main sensor the rule has no key and no name.
  std::vector<KVNotification> defaultOverheatNotifications();
  /// The stored rules whose sensor is in the store or that apply to every sensor, in order; empty
  /// when none are left, and when the stored list is damaged, which stays as it is. While nothing
  /// is stored: in the first launches of the product (`appLaunchCount` below 2) the default list,
  /// which is then stored and broadcast; later none.
  std::optional<std::vector<KVNotification>> overheatNotifications();
  /// The rule for that key, e.g. "TC0P" or "any-sensor"; none without such a rule.
  std::optional<KVNotification> getOverheatNotificationBySensorKey(std::string_view sensorKey);
  /// Stores the whole list; rules that other programs have added since are lost. A list that could
  /// not be read back (texts of many megabytes) is not stored, which is logged.
  bool setOverheatNotifications(const std::vector<KVNotification>& rules);

  // Each of these changes the stored list in one step: rules that other programs add or change at
  // the same time stay. Each drops the rules whose sensors are no longer in the store; while the
  // store cannot be read it drops none. Each broadcasts the list that it stores. For a new user it
  // first stores the default list. They return whether a list was stored.

  /// Replaces the rule of the same key. Without one the list is stored and broadcast as it is.
  bool updateOverheatNotification(const KVNotification& rule);
  /// Appends a rule. If the list has a rule for the same key, stores nothing.
  bool addOverheatNotification(const KVNotification& rule);
  /// Removes the rule for a key. Without such a rule nothing is stored.
  bool removeOverheatNotification(std::string_view sensorKey);
  /// Calls `change` with the rule for a key as it is stored now, and stores the result. `change`
  /// must not use the manager. Stores nothing when there is no such rule.
  bool changeOverheatNotification(std::string_view sensorKey,
                                  const std::function<void(KVNotification&)>& change);

  /// A queue for the host's own work, labelled "com.KVDataManager.internalQueue", created on first
  /// use. Owned by the manager, which does not use it.
  KVSerialQueue& internalQueue();

  /// A flag for the host, never stored: whether its dataset has been generated.
  bool dataSetReady() const { return dataSetReady_; }
  void setDataSetReady(bool ready) { dataSetReady_ = ready; }

  /// Kept, but `updateInterval` always follows `updateFrequency`.
  void setUpdateInterval(double seconds) { updateIntervalSeconds_ = seconds; }

  /// Posts KVDataManagerDidGenerateDatasetNotification in this process: a manager without a main
  /// sensor then takes the first temperature sensor.
  static void postDidGenerateDataset();

 protected:
  std::optional<PropertyListValue> computedDefault(const KVSetting& setting) override;

 private:
  bool saveStore();
  KVError error(std::int64_t code);
  void returnToCategory(const KVSensorPtr& sensor, std::int64_t type);
  void joinTwins(const KVSensorPtr& sensor, double value);
  void removeFromMenu(const std::string& key);
  bool isSensorGone(const KVNotification& rule);
  bool changeOverheatNotifications(const std::function<bool(std::vector<KVNotification>&)>& change);
  void chooseMainSensor();
  KVSensorPtr sensorWith(const std::optional<PropertyListValue>& key);
  std::vector<std::string> keysOfShownSensors();
  void appendMissingCategories(std::vector<KVDropdownItem>& items);
  std::optional<std::vector<std::string>> texts(KVSettingID id);

  std::unique_ptr<KVCoreDataStore> store_;
  std::once_flag internalQueueOnce_;
  std::unique_ptr<KVSerialQueue> internalQueue_;
  std::uint64_t datasetObservation_ = 0;
  bool dataSetReady_ = false;
  double updateIntervalSeconds_ = 0;
};

}  // namespace kelvora
