#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVCategory.h"
#include "KelvoraCore/KVFanCondition.h"
#include "KelvoraCore/KVFanSet.h"
#include "KelvoraCore/KVGraphPoint.h"
#include "KelvoraCore/KVManagedObject.h"
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/ManagedObjectContext.h"
#include "KelvoraCore/Predicate.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

namespace engine {
class ManagedObjectModel;
class PersistentStoreCoordinator;
}  // namespace engine
class KVSettings;
class Platform;

/// The persistent store of the product: categories, sensors with their history, fan sets and fan
/// conditions, in the file "Database.sqlite" of the application group's folder, which the programs
/// of the product share. Model, coordinator and view context are made on first use and kept until
/// the store ends.
///
/// Functions without a context argument use the view context: main thread only. Call the others on
/// the queue of the context; with a null context they return null or none. Lists are none when
/// there is no store or the fetch fails, and empty when nothing matches. New objects are unsaved.
/// Failures are not logged, except those of saves.
class KELVORA_EXPORT KVCoreDataStore {
 public:
  /// How the file is opened.
  struct Options {
    int busyTimeoutMs = 5000;  ///< how long opening and saving wait for another program's lock
    /// For a program that only looks, for a short time: it creates and changes nothing, neither
    /// the file nor its folder, except that the index of a log which a killed program left is made
    /// again. Without a file, or with one of an older model, there is no store; a file without
    /// tables, as a full disk may leave it, is an empty one. Every save fails.
    bool isReadOnly = false;
  };

  /// Opens nothing. `stalenessInterval` is in seconds: -1 keeps values as first read, 0 always
  /// shows what any program last saved. The platform, by default the current one, must outlive the
  /// store.
  explicit KVCoreDataStore(double stalenessInterval);
  KVCoreDataStore(double stalenessInterval, Platform& platform);
  KVCoreDataStore(double stalenessInterval, Platform& platform, Options options);
  /// A store whose objects read these settings, which must outlive it. The other constructors open
  /// the platform's settings for them.
  KVCoreDataStore(double stalenessInterval, Platform& platform, KVSettings& settings);
  KVCoreDataStore(double stalenessInterval, Platform& platform, KVSettings& settings,
                  Options options);
  ~KVCoreDataStore();
  KVCoreDataStore(const KVCoreDataStore&) = delete;
  KVCoreDataStore& operator=(const KVCoreDataStore&) = delete;

  /// As given at creation, in seconds.
  double stalenessInterval() const { return stalenessInterval_; }

  /// The root context, whose unsaved changes override the file's values, property by property. Null
  /// when the main bundle has no readable model.
  ManagedObjectContextPtr viewContext();
  /// A child of the view context on a private queue; the caller owns it. Without a model it is a
  /// context without objects. Any thread.
  ManagedObjectContextPtr newContext();
  /// Saves the view context when it has changes; a failure is logged as "Save error: …". Any thread
  /// that may wait for the main queue.
  void saveViewContext();
  /// Later, on the main queue, makes every object of the view context read again. Any thread.
  void refreshAllObjectsInViewContext();

  /// The model of the main bundle's "Database.momd"; null when it is missing or broken.
  std::shared_ptr<const engine::ManagedObjectModel> managedObjectModel();
  /// Null without a model. Opening waits for other programs' locks up to the busy time-out. A file
  /// that cannot be opened leaves the coordinator without a store, which is not reported: fetches
  /// then return none and saves fail with "Save error: there is no store: …" and the reason.
  std::shared_ptr<engine::PersistentStoreCoordinator> persistentStoreCoordinator();
  /// The folder of the store file, e.g. "/home/anna/.local/share/group.com.kelvora"; empty when the
  /// system has none.
  std::string applicationDocumentsDirectory();

  // Categories.
  /// The category of that name, e.g. "Temperature", else a new one of type 0.
  KVCategoryPtr createOrUpdateCategoryWithName(std::string_view name,
                                               const ManagedObjectContextPtr& context);

  /// The first category that matches; null if no category does.
  KVCategoryPtr getCategoryWithName(std::string_view name);
  KVCategoryPtr getCategoryWithType(std::int64_t type);
  KVCategoryPtr categoryWhere(const Predicate& predicate);
  KVCategoryPtr categoryWhere(const Predicate& predicate, const ManagedObjectContextPtr& context);

  using Categories = std::optional<std::vector<KVCategoryPtr>>;
  /// Every category by ascending type.
  Categories allCategories();
  /// The same without those that have no sensors.
  Categories allValidCategories();

  // Sensors.
  /// The sensor with that key, e.g. "TC0P", else a new one with only the key set.
  KVSensorPtr createSensorWithKey(std::string_view key, const ManagedObjectContextPtr& context);
  /// A sensor that the user defines by the texts "key" and "name" and the number "category_type" (a
  /// SensorType). Returns the sensor with that key, unchanged, else a new custom one of that name
  /// without category and value. Returns null and makes nothing without a key or a name, or for a
  /// fan (type 1).
  KVSensorPtr createSensorWithCustomInfo(const PropertyListValue::Dictionary& info);

  /// The first sensor that matches; null if no sensor does.
  KVSensorPtr getSensorByKey(std::string_view key);
  KVSensorPtr getSensorByKey(std::string_view key, const ManagedObjectContextPtr& context);
  KVSensorPtr sensorWhere(const Predicate& predicate, const ManagedObjectContextPtr& context);

  using Sensors = std::optional<std::vector<KVSensorPtr>>;
  /// Every sensor, by creation.
  Sensors allSensors();
  Sensors allSensorsInContext(const ManagedObjectContextPtr& context);
  /// Fans without the computed fastest fan.
  Sensors fanSensors();
  Sensors fanSensorsInContext(const ManagedObjectContextPtr& context);
  /// The sensors of the temperature category in its order, computed ones included; none when there
  /// is no such category.
  Sensors tempSensors();
  Sensors tempSensorsInContext(const ManagedObjectContextPtr& context);

  // Graph points.
  /// A new point without values and sensor.
  KVGraphPointPtr createGraphPoint();
  KVGraphPointPtr createGraphPointInContext(const ManagedObjectContextPtr& context);

  // Fan sets.
  /// A new set of that name with these speeds, made now; see KVFanSet::identifier.
  KVFanSetPtr createFanSetWithName(std::string_view name,
                                   const PropertyListValue::Dictionary& value);
  KVFanSetPtr createFanSetWithName(std::string_view name,
                                   const PropertyListValue::Dictionary& value,
                                   const ManagedObjectContextPtr& context);
  /// The first set with that identifier; null if there is no such set, or if no identifier is
  /// given.
  KVFanSetPtr getFanSetById(const std::optional<std::string>& identifier);

  using FanSets = std::optional<std::vector<KVFanSetPtr>>;
  /// Every set, oldest first.
  FanSets allFanSets();
  FanSets allFanSetsInContext(const ManagedObjectContextPtr& context);

  // Fan conditions.
  /// A new condition, made now, that applies the set when the sensor reaches that value. Returns
  /// null and makes nothing without a set or a sensor, and for a set that the context does not see.
  KVFanConditionPtr createFanConditionWithFanSet(const KVFanSetPtr& fanSet,
                                                 const KVSensorPtr& sensor, double threshold,
                                                 std::int16_t batteryState,
                                                 bool externalDisplayConnected,
                                                 const ManagedObjectContextPtr& context);

  using FanConditions = std::optional<std::vector<KVFanConditionPtr>>;
  /// Every condition, oldest first.
  FanConditions allFanConditions();
  FanConditions allFanConditionsInContext(const ManagedObjectContextPtr& context);

 private:
  const double stalenessInterval_;
  Platform& platform_;
  const Options options_;
  std::unique_ptr<KVSettings> ownSettings_;  // null when they were given
  std::shared_ptr<KVManagedObject::Surroundings> surroundings_;
  std::recursive_mutex mutex_;  // guards the three below, made on first use
  bool modelLoaded_ = false;
  std::shared_ptr<engine::ManagedObjectModel> model_;
  std::shared_ptr<engine::PersistentStoreCoordinator> coordinator_;
  ManagedObjectContextPtr viewContext_;
};

}  // namespace kelvora
