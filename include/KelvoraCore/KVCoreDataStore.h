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
#include "KelvoraCore/KVSensor.h"
#include "KelvoraCore/ManagedObjectContext.h"
#include "KelvoraCore/Predicate.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

namespace engine {
class ManagedObjectModel;
class PersistentStoreCoordinator;
}  // namespace engine
class Platform;

/// The persistent store of the product: categories, sensors with their history, fan sets and fan
/// conditions, in the file "Database.sqlite" of the application group's folder, which the programs
/// of the product share. Nothing is opened before it is asked for; what was opened stays until the
/// store ends.
///
/// Operations without a context use the view context: main thread only. Those with one belong on
/// that context's queue; a null context answers nothing. Lists are none when there is no store or
/// the fetch fails, empty when nothing matches. New objects are unsaved.
class KELVORA_EXPORT KVCoreDataStore {
 public:
  struct Options {
    int busyTimeoutMs = 5000;  ///< how long a save waits for another program's
  };

  /// `stalenessInterval` in seconds: -1 keeps values once read, 0 always shows what any program
  /// last saved.
  explicit KVCoreDataStore(double stalenessInterval);
  KVCoreDataStore(double stalenessInterval, Platform& platform);
  KVCoreDataStore(double stalenessInterval, Platform& platform, Options options);
  ~KVCoreDataStore();
  KVCoreDataStore(const KVCoreDataStore&) = delete;
  KVCoreDataStore& operator=(const KVCoreDataStore&) = delete;

  double stalenessInterval() const { return stalenessInterval_; }

  /// The root context; null when the program carries no readable model.
  ManagedObjectContextPtr viewContext();
  /// A child of the view context on a private queue; the caller owns it. Without a model it is a
  /// context that answers nothing. Any thread.
  ManagedObjectContextPtr newContext();
  /// Saves the view context when it has changes; a failure is logged as "Save error: …". Any thread
  /// that may wait for the main queue.
  void saveViewContext();
  /// Later, on the main queue, lets every object of the view context read again. Any thread.
  void refreshAllObjectsInViewContext();

  /// The model of the main bundle's "Database.momd"; null when it is missing or broken.
  std::shared_ptr<const engine::ManagedObjectModel> managedObjectModel();
  /// Null without a model. A file that cannot be opened leaves it without a store, unreported.
  std::shared_ptr<engine::PersistentStoreCoordinator> persistentStoreCoordinator();
  /// The folder of the store file, e.g. "/home/anna/.local/share/group.com.kelvora"; empty when the
  /// system gives none.
  std::string applicationDocumentsDirectory();

  // Categories.
  /// The category of that name, else a new one of type 0.
  KVCategoryPtr createOrUpdateCategoryWithName(std::string_view name,
                                               const ManagedObjectContextPtr& context);
  KVCategoryPtr getCategoryWithName(std::string_view name);
  KVCategoryPtr getCategoryWithType(std::int64_t type);
  KVCategoryPtr categoryWhere(const Predicate& predicate);
  KVCategoryPtr categoryWhere(const Predicate& predicate, const ManagedObjectContextPtr& context);
  using Categories = std::optional<std::vector<KVCategoryPtr>>;
  /// By ascending type.
  Categories allCategories();
  /// Those that have sensors.
  Categories allValidCategories();

  // Sensors.
  /// The sensor with that key, else a new one with only the key set.
  KVSensorPtr createSensorWithKey(std::string_view key, const ManagedObjectContextPtr& context);
  /// A sensor that the user asks for with the texts "key" and "name" and the number "category_type"
  /// (a SensorType): the sensor with that key, unchanged, else a new custom one of that name,
  /// without category and value. Null, and nothing is made, without a key or a name or for a fan
  /// (type 1).
  KVSensorPtr createSensorWithCustomInfo(const PropertyListValue::Dictionary& info);
  KVSensorPtr getSensorByKey(std::string_view key);
  KVSensorPtr getSensorByKey(std::string_view key, const ManagedObjectContextPtr& context);
  KVSensorPtr sensorWhere(const Predicate& predicate, const ManagedObjectContextPtr& context);
  using Sensors = std::optional<std::vector<KVSensorPtr>>;
  Sensors allSensors();
  Sensors allSensorsInContext(const ManagedObjectContextPtr& context);
  /// Fans without the computed ones.
  Sensors fanSensors();
  Sensors fanSensorsInContext(const ManagedObjectContextPtr& context);
  /// The sensors of the temperature category in its order, computed ones included; none when there
  /// is no such category.
  Sensors tempSensors();
  Sensors tempSensorsInContext(const ManagedObjectContextPtr& context);

  // Graph points.
  /// An empty point; its fields and its sensor are the caller's to set.
  KVGraphPointPtr createGraphPoint();
  KVGraphPointPtr createGraphPointInContext(const ManagedObjectContextPtr& context);

 private:
  const double stalenessInterval_;
  Platform& platform_;
  const Options options_;
  std::recursive_mutex mutex_;  // guards the three below, made on first use
  bool modelLoaded_ = false;
  std::shared_ptr<engine::ManagedObjectModel> model_;
  std::shared_ptr<engine::PersistentStoreCoordinator> coordinator_;
  ManagedObjectContextPtr viewContext_;
};

}  // namespace kelvora
