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
/// library never posts it of its own accord.
inline constexpr char KVDataManagerDidGenerateDatasetNotification[] =
    "KVDataManagerDidGenerateDatasetNotification";

/// One line of the menu's dropdown, e.g. {"main_sensor", true}.
struct KELVORA_EXPORT KVDropdownItem {
  std::string name;  ///< "main_sensor", "fan_control" or a category's name
  bool isShown = true;
  friend bool operator==(const KVDropdownItem&, const KVDropdownItem&) = default;
};

/// The settings together with the store: what a host reads, writes and keeps. Getters and setters
/// as of KVSettings; those below ask the store's view context, so they belong on the main thread.
class KELVORA_EXPORT KVDataManager : public KVSettings {
 public:
  /// The process's manager on the current platform, created on the first call, in the application
  /// mode that was set by then. Never destroyed.
  static KVDataManager& shared();

  /// The process's application mode. In mode 1 the manager's store keeps values once read; in any
  /// other it always shows what any program last saved. Any thread.
  static std::int64_t appMode();
  static void setAppMode(std::int64_t mode);
  /// What a host calls once, before `shared`.
  static void setupWithAppMode(std::int64_t mode);

  KVDataManager();
  explicit KVDataManager(Platform& platform);
  ~KVDataManager() override;

  /// The store; owned by the manager.
  KVCoreDataStore& coreDataStore() { return *store_; }

  /// The sensor that stands for the machine. The first time, "TC0P" if the store has it. Null when
  /// there is none, also when the chosen one has gone from the store; the choice then stays.
  KVSensorPtr mainSensor();
  /// Null makes the next `mainSensor` choose anew.
  void setMainSensor(const KVSensorPtr& sensor);

  /// Keys of the sensors in the menu bar, in order. The first time the main sensor's; none without
  /// a main sensor.
  std::optional<std::vector<std::string>> menuSensors();
  void setMenuSensors(std::optional<std::vector<std::string>> keys);

  /// Keys of the sensors that are logged to a file; none while none were chosen.
  std::optional<std::vector<std::string>> fileLoggingSensorKeys();

  /// The lines of the dropdown: what was stored, at first "main_sensor" and "fan_control", and
  /// behind it, shown, every category of the store that is not listed yet. Lines of categories that
  /// have gone stay.
  std::vector<KVDropdownItem> dropdownItems();
  void setDropdownItems(const std::vector<KVDropdownItem>& items);

  /// A queue for the host's own work, labelled "com.KVDataManager.internalQueue", made on first
  /// use. Owned by the manager, which does not use it.
  KVSerialQueue& internalQueue();

  /// A mark of the host's, never stored: whether its dataset stands.
  bool dataSetReady() const { return dataSetReady_; }
  void setDataSetReady(bool ready) { dataSetReady_ = ready; }

  /// Kept, but `updateInterval` always follows `updateFrequency`.
  void setUpdateInterval(double seconds) { updateIntervalSeconds_ = seconds; }

  /// Tells this process that the dataset stands: a manager without a main sensor then takes the
  /// first temperature sensor.
  static void postDidGenerateDataset();

 protected:
  std::optional<PropertyListValue> computedDefault(const KVSetting& setting) override;

 private:
  void chooseMainSensor();
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
