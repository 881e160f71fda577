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

/// A scratch pad of stored objects with its own unsaved inserts, changes and deletions. Contexts
/// form a tree: the root, bound to the main queue, saves to the file; a child, on a private queue,
/// saves into its parent and sees the parent's unsaved state.
///
/// A shared handle, owned by whoever asked for it. Unsaved changes are dropped with the last
/// handle.
///
/// Threads: everything but perform, performAndWait, saveRecursively and saveThisAndParentContexts
/// belongs on the context's queue: inside one of these calls, or, for the root, anywhere on the
/// main thread. A child that only one thread uses may be used on that thread directly.
class KELVORA_EXPORT ManagedObjectContext
    : public std::enable_shared_from_this<ManagedObjectContext> {
 public:
  explicit ManagedObjectContext(std::shared_ptr<engine::ContextState> state);
  ~ManagedObjectContext();
  ManagedObjectContext(const ManagedObjectContext&) = delete;
  ManagedObjectContext& operator=(const ManagedObjectContext&) = delete;

  /// A child on a private queue of its own. Any thread.
  ManagedObjectContextPtr newChild();
  /// Null for a root.
  ManagedObjectContextPtr parentContext() const;

  /// Runs `work` on the context's queue and waits for it: a private queue runs it on the calling
  /// thread when its turn comes, the main queue on the main thread. Runs at once when called from
  /// the queue itself. Waiting for the main queue ends only when the main thread runs its queue.
  void performAndWait(const std::function<void()>& work);
  /// Runs `work` on the context's queue later, after all that was asked for before; returns at
  /// once.
  void perform(std::function<void()> work);

  /// How many seconds a value once read may be used without looking again at the store: -1 (any
  /// negative) for ever, 0 never. Children start with their parent's.
  double stalenessInterval() const;
  void setStalenessInterval(double seconds);

  /// A new object of an entity with the model's defaults, unsaved; null when the model has no such
  /// entity or there is no model.
  ManagedObjectPtr insertNewObject(std::string_view entity);
  /// Deletes an object and what the delete rules of its relationships say, all unsaved. An object
  /// of another context stands for the same row of this one.
  void deleteObject(const ManagedObjectPtr& object);
  /// This context's object of a row that another context's object stands for.
  ManagedObjectPtr objectFor(const ManagedObjectPtr& object);
  bool hasChanges() const;
  /// Forgets what was read, so that the next access reads again. Unsaved changes stay.
  void refreshAllObjects();

  /// Every object of the entity that matches (no predicate: all), in the order given, else by
  /// creation. None when there is no store, no such entity, or the fetch fails, for instance
  /// because the predicate names what the entity does not have.
  using Objects = std::vector<ManagedObjectPtr>;
  std::optional<Objects> objectsOf(std::string_view entity);
  std::optional<Objects> objectsOf(std::string_view entity,
                                   const std::optional<Predicate>& predicate);
  std::optional<Objects> objectsOf(std::string_view entity,
                                   const std::optional<Predicate>& predicate,
                                   const std::optional<SortDescriptor>& sortDescriptor);
  /// The first of that fetch; null when there is none.
  ManagedObjectPtr objectOf(std::string_view entity, const std::optional<Predicate>& predicate);

  /// Writes the unsaved changes to the parent, or from the root to the file: of a changed object
  /// only the changed properties, so that what another program changed beside them stands. On
  /// failure answers what went wrong; all changes stay unsaved in memory. Any thread.
  std::optional<std::string> save();
  /// Waits for the context's queue; with changes, does saveThisAndParentContexts. Any thread that
  /// may wait for the parents' queues.
  void saveRecursively();
  /// Saves this context and then its parents up to the root, each on its own queue and also without
  /// changes. The first failure is logged as "Save error: …" and ends it; nothing is rolled back.
  void saveThisAndParentContexts();

  /// For the engine, its tests and its measurements.
  const std::shared_ptr<engine::ContextState>& state() const { return state_; }

 private:
  std::shared_ptr<engine::ContextState> state_;
};

}  // namespace kelvora
