#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ManagedObject.h"
#include "KelvoraCore/Predicate.h"
#include "KelvoraCore/SortDescriptor.h"

namespace kelvora {

/// A set of stored objects with its own unsaved inserts, changes and deletions. Contexts form a
/// tree: the root, bound to the main queue, saves to the file. A child, on a private queue, saves
/// into its parent and sees the parent's unsaved state.
///
/// A shared handle, owned by the caller. Unsaved changes are dropped with the last handle. A child
/// does not keep its parent alive: after the parent's end its saves fail with "the parent context
/// is gone", and its changes stay unsaved.
///
/// Threads: functions marked "any thread" may be called anywhere. Call all others on the context's
/// queue: inside performAndWait or perform, or, for the root, on the main thread. A child that only
/// one thread uses may be used on that thread directly.
class KELVORA_EXPORT ManagedObjectContext
    : public std::enable_shared_from_this<ManagedObjectContext> {
 public:
  /// For the engine; see KVCoreDataStore::viewContext and newChild.
  explicit ManagedObjectContext(std::shared_ptr<engine::ContextState> state);
  ~ManagedObjectContext();
  ManagedObjectContext(const ManagedObjectContext&) = delete;
  ManagedObjectContext& operator=(const ManagedObjectContext&) = delete;

  /// A child on a private queue of its own. Any thread.
  ManagedObjectContextPtr newChild();
  /// Null for a root, and after the end of the parent.
  ManagedObjectContextPtr parentContext() const;

  /// Runs `work` on the context's queue and waits for it: a private queue runs it on the calling
  /// thread, in queue order; the main queue runs it on the main thread. Runs at once when called
  /// from the queue itself. Waiting for the main queue ends only when the main thread runs its
  /// queue. Any thread.
  void performAndWait(const std::function<void()>& work);
  /// Runs `work` on the context's queue later, after all work that was passed before; returns at
  /// once. Any thread.
  void perform(std::function<void()> work);

  /// How many seconds a value that was read may be used without reading the store again; negative:
  /// forever; 0: never. Children start with their parent's interval. Any thread.
  double stalenessInterval() const;
  void setStalenessInterval(double seconds);

  /// A new object of an entity, e.g. "Sensor", with the model's defaults. Changes memory only and
  /// never waits for another program. Null when the model has no such entity or there is no model.
  ManagedObjectPtr insertNewObject(std::string_view entity);
  /// Deletes an object, and applies the delete rules of its relationships, in memory until the
  /// save. For an object of another context it deletes this context's object of the same row; null
  /// and objects of another store are ignored.
  void deleteObject(const ManagedObjectPtr& object);
  /// This context's object of the row of another context's object. Null for null and for an object
  /// of another store. The row may be deleted or not yet saved; this is detected on access.
  ManagedObjectPtr objectFor(const ManagedObjectPtr& object);
  /// Whether anything is unsaved here; the parents' changes do not count.
  bool hasChanges() const;
  /// Forgets what was read, so that the next access reads again. Unsaved changes stay.
  void refreshAllObjects();

  /// Every object of the entity that matches the predicate (without one: all), in the given order,
  /// else by creation. Sees the unsaved state of this context and its parents. None when there is
  /// no store or no such entity, or when the fetch fails, for instance because the predicate names
  /// an attribute that the entity does not have; that is not logged.
  using Objects = std::vector<ManagedObjectPtr>;
  std::optional<Objects> objectsOf(std::string_view entity);
  std::optional<Objects> objectsOf(std::string_view entity,
                                   const std::optional<Predicate>& predicate);
  std::optional<Objects> objectsOf(std::string_view entity,
                                   const std::optional<Predicate>& predicate,
                                   const std::optional<SortDescriptor>& sortDescriptor);
  /// The first object of that fetch; null if nothing matches or the fetch fails.
  ManagedObjectPtr objectOf(std::string_view entity, const std::optional<Predicate>& predicate);

  /// What a save to the file returns once the file was deleted or replaced, as clearing the data
  /// does: only a new KVCoreDataStore can save again.
  static constexpr char kStoreMovedError[] = "the store file was deleted or replaced";

  /// Writes the unsaved changes to the parent, or from the root to the file. Of a changed object
  /// only the changed properties are written, so that the file keeps what another program changed
  /// in the others. With a negative staleness interval the object does not show those until
  /// refreshAllObjects.
  ///
  /// Returns none on success, else what went wrong, e.g. "value of Sensor is required", "database
  /// is locked", kStoreMovedError or "there is no store: …"; nothing is logged, and all changes
  /// stay unsaved in memory. A missing value fails the save of the context that made it. Any
  /// thread.
  std::optional<std::string> save();
  /// The same as saveThisAndParentContexts, but does nothing when this context has no changes. Any
  /// thread that may wait for the parents' queues.
  void saveRecursively();
  /// Saves this context and then its parents up to the root, each on its own queue, also those
  /// without changes. The first failure is logged as "Save error: …" and ends it; nothing is rolled
  /// back. Any thread that may wait for these queues.
  void saveThisAndParentContexts();
  /// Drops the unsaved changes of this context: new objects are deleted, changed and deleted ones
  /// are again as stored. Values are read again on the next access.
  void rollback();

  /// For the engine, its tests and its measurements.
  const std::shared_ptr<engine::ContextState>& state() const { return state_; }

 private:
  std::shared_ptr<engine::ContextState> state_;
};

}  // namespace kelvora
