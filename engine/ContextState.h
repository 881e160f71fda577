#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "KelvoraCore/ManagedObject.h"
#include "KelvoraCore/Predicate.h"
#include "KelvoraCore/SortDescriptor.h"

#include "engine/ContextQueue.h"
#include "engine/ManagedObjectModel.h"
#include "engine/PersistentStoreCoordinator.h"
#include "engine/ResolvedPredicate.h"
#include "engine/UnsavedRows.h"

namespace kelvora::engine {

/// The state of a context. Its objects share it, so that an object may outlive its context. Used on
/// the context's queue, with two exceptions that `mutex_` guards: objects end on any thread, and
/// children read the unsaved changes. The mutex is a leaf: while it is held, nothing else is locked
/// and no object is dropped.
class ContextState : public std::enable_shared_from_this<ContextState> {
 public:
  using Objects = std::vector<ManagedObjectPtr>;

  ContextState(std::shared_ptr<PersistentStoreCoordinator> coordinator,
               std::shared_ptr<ContextState> parent, std::unique_ptr<ContextQueue> queue);

  ContextQueue& queue() const { return *queue_; }
  const std::shared_ptr<ContextState>& parent() const { return parent_; }
  const std::shared_ptr<PersistentStoreCoordinator>& coordinator() const { return coordinator_; }
  double stalenessInterval() const { return stalenessSeconds_.load(); }
  void setStalenessInterval(double seconds) { stalenessSeconds_.store(seconds); }
  std::weak_ptr<ManagedObjectContext> facade;  ///< set once, before the first object
  /// Drops the unsaved changes. From now on objects only return the values that they have.
  void close();

  // Objects of the context (ContextState.cpp).
  ManagedObjectPtr insert(std::string_view entity);
  ManagedObjectPtr object(const EntityDescription& entity, std::int64_t id);
  /// This context's object of the same row; null for null.
  ManagedObjectPtr own(const ManagedObjectPtr& object);
  void forget(const ManagedObject& object);
  void refreshAll();
  std::size_t registeredObjects() const;
  bool hasChanges() const;

  // Values of an object (ContextState.cpp).
  const ManagedValue& read(ManagedObject& object, std::size_t column);
  void write(ManagedObject& object, std::size_t column, ManagedValue value);

  // Relationships (ContextRelationships.cpp, ContextMembers.cpp, ContextDeletion.cpp).
  ManagedObjectPtr related(ManagedObject& object, std::size_t column);
  // The functions that change one return false, and change nothing, for an object of another entity
  // or store, or one that this context does not see.
  bool setRelated(ManagedObject& object, std::size_t column, const ManagedObjectPtr& target);
  Objects members(ManagedObject& owner, std::size_t toMany);
  bool addMember(ManagedObject& owner, std::size_t toMany, const ManagedObjectPtr& member);
  bool insertMember(ManagedObject& owner, std::size_t toMany, const ManagedObjectPtr& member,
                    std::size_t index);
  bool removeMember(ManagedObject& owner, std::size_t toMany, const ManagedObjectPtr& member);
  bool setMembers(ManagedObject& owner, std::size_t toMany, const Objects& wanted);
  void deleteObject(ManagedObject& object);

  // Fetches (ContextFetch.cpp).
  std::optional<Objects> fetch(std::string_view entity, const Predicate* predicate,
                               const SortDescriptor* sort, bool firstOnly);

  // Saves (ContextSave.cpp). Returns what went wrong.
  std::optional<std::string> save();
  void saveThisAndParents();
  void rollback();

 private:
  using Status = ManagedObject::Status;
  struct Registered {
    const ManagedObject* address;
    std::weak_ptr<ManagedObject> object;
  };
  /// The unsaved values that the parents have of a row, from the root down.
  struct Overlay {
    bool inserted = false;
    bool deleted = false;
    std::uint64_t columns = 0;
    std::vector<ManagedValue> values;
  };
  struct Unsaved {
    std::vector<RowChange> changes;
    Objects objects;
  };

  const ManagedObjectModel& model() const { return coordinator_->model(); }
  ManagedObjectPtr registered(const EntityDescription& entity, std::int64_t id) const;
  void enroll(const ManagedObjectPtr& object);
  void willRead(ManagedObject& object);
  bool isStale(std::uint64_t of, double loadedAtSeconds);
  std::uint64_t stamp(std::uint64_t parents) const;
  std::uint64_t parentChanges() const;
  double loadTime() const;
  void load(ManagedObject& object);
  void fill(ManagedObject& object, const RowCursor& row, const Overlay* overlay,
            std::uint64_t parents);
  void fillWithoutRow(ManagedObject& object, const Overlay& overlay, std::uint64_t stamp);
  void noteLoaded(ManagedObject& object, std::uint64_t stamp) const;
  Overlay overlayOf(const EntityDescription& entity, std::int64_t id) const;
  void addToOverlay(Overlay& overlay, const EntityDescription& entity, std::int64_t id) const;
  void markChanged(ManagedObject& object, std::size_t column, ManagedValue value);
  bool chainHasChanges() const;
  std::vector<std::int64_t> touchedObjects(std::size_t entity, std::uint64_t columns) const;
  DirtyRows dirtyRows(std::size_t entity) const;
  void addDirtyRows(DirtyRows& rows, std::size_t entity) const;
  ManagedObjectPtr objectOfRow(const EntityDescription& entity, const RowCursor& row,
                               std::uint64_t parents);

  static bool isLive(const ManagedObject& object);
  ManagedObjectPtr ownLive(const ManagedObjectPtr& object, std::size_t entity);
  static std::int64_t nextProvisionalOrder();
  ManagedObject::Members& membersCache(ManagedObject& owner, std::size_t toMany) const;
  ManagedObject::Members* loadedCache(const EntityDescription& member, std::size_t column,
                                      const ManagedValue& owner);
  void leaveOwner(ManagedObject& member, std::size_t column);
  void joinOwner(ManagedObject& member, std::size_t column);
  void setOwner(ManagedObject& member, std::size_t column, std::optional<std::int64_t> owner,
                std::optional<std::int64_t> order);
  Objects loadMembers(ManagedObject& owner, std::size_t toMany);
  std::optional<Objects> cachedMembers(ManagedObject& owner, std::size_t toMany);
  Objects knownMembers(const EntityDescription& entity, const ManagedObject::Members& cache);
  void addDirtyMembers(ManagedObject& owner, const ToMany& toMany, const DirtyRows& dirty,
                       Objects& members);
  void sortMembers(const ToMany& toMany, Objects& members);
  static void keepListed(const ManagedObject::Members& cache, Objects& members);
  void rememberMembers(ManagedObject::Members& cache, const Objects& members,
                       std::uint64_t stamp) const;
  void appendAll(ManagedObject& owner, const ToMany& toMany, const Objects& objects,
                 std::size_t from);
  void deleteOne(const ManagedObjectPtr& object, Objects& doomed);
  void markDeleted(const ManagedObjectPtr& object);

  std::optional<Objects> fetchClean(const FetchRequest& request, std::uint64_t parents);
  std::optional<Objects> fetchDirty(const FetchRequest& request, std::uint64_t parents);
  std::optional<ResolvedPredicate> leadsToTouched(const EntityDescription& entity,
                                                  const ColumnsByPath& columns) const;
  bool isOrderTouched(const FetchRequest& request) const;
  bool addRows(const FetchRequest& request, const DirtyRows& dirty, std::uint64_t parents,
               Objects& objects);
  void judge(const ResolvedPredicate* predicate, const Objects& candidates, Objects& objects);
  void sortObjects(const std::optional<FetchOrder>& order, Objects& objects);

  Unsaved unsaved() const;
  std::optional<std::string> saveToStore();
  std::optional<std::string> saveToParent();
  void absorb(const std::vector<RowChange>& changes);
  void absorb(const RowChange& change);
  void absorbInsert(const RowChange& change);
  void markSaved(const Unsaved& saved, const SaveOutcome& outcome);

  const std::shared_ptr<PersistentStoreCoordinator> coordinator_;
  const std::shared_ptr<ContextState> parent_;
  const std::unique_ptr<ContextQueue> queue_;
  std::atomic<double> stalenessSeconds_{-1};
  std::atomic<bool> closed_{false};
  std::atomic<std::uint64_t> changeCount_{0};

  mutable std::mutex mutex_;  // guards what follows, and the values of objects in pending_
  std::vector<std::unordered_map<std::int64_t, Registered>> registry_;  // by entity
  std::vector<UnsavedObjects> pending_;                                 // by entity
};

/// A root (no parent) or a child; a child starts with its parent's staleness interval.
ManagedObjectContextPtr makeContext(std::shared_ptr<PersistentStoreCoordinator> coordinator,
                                    std::shared_ptr<ContextState> parent,
                                    std::unique_ptr<ContextQueue> queue);

}  // namespace kelvora::engine
