#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVCoreDataStore.h"
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

  /// Keys of the sensors in the menu bar, in order. The first time the main sensor's; none without
  /// a main sensor.
  std::optional<std::vector<std::string>> menuSensors();
  bool setMenuSensors(std::optional<std::vector<std::string>> keys);

  /// Keys of the sensors that are logged to a file. The call that finds none chosen returns none,
  /// and stores the keys of all sensors that the display settings let through, by category; later
  /// calls return those. It stores nothing while there is no such sensor.
  std::optional<std::vector<std::string>> fileLoggingSensorKeys();

  /// The lines of the dropdown: the stored ones (at first "main_sensor" and "fan_control"), then
  /// every category of the store that they do not list, shown. Lines of categories that no longer
  /// exist stay.
  std::vector<KVDropdownItem> dropdownItems();
  bool setDropdownItems(const std::vector<KVDropdownItem>& items);

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
  void chooseMainSensor();
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
