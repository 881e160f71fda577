#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "KelvoraCore/ManagedObject.h"

namespace kelvora::engine {

/// The objects of one entity that a context has changed since its last save, by id. Deleted ones
/// are separate, so that a search for the others does not pass through a large deletion.
struct UnsavedObjects {
  using ByID = std::unordered_map<std::int64_t, ManagedObjectPtr>;

  ByID changed;  ///< inserted or updated
  ByID deleted;

  bool empty() const { return changed.empty() && deleted.empty(); }
  bool contains(std::int64_t id) const { return changed.contains(id) || deleted.contains(id); }
  /// Null when the object has no unsaved changes.
  const ManagedObject* find(std::int64_t id) const;
};

/// The rows of one entity that a context or one of its parents has changed, so that the file does
/// not have their current values. Those of the parents are copied when this is made, before the
/// file is read. The context's own rows are not copied, because there may be very many.
class DirtyRows {
 public:
  /// `mutex` guards `own`, which is changed from elsewhere only when the context ends.
  DirtyRows(const UnsavedObjects& own, std::mutex& mutex) : own_(own), mutex_(mutex) {}

  /// Adds a parent's, the root's first.
  void add(const UnsavedObjects& parents);

  bool empty() const;
  bool contains(std::int64_t id) const;
  /// The ids of those that are not deleted, ascending.
  std::vector<std::int64_t> live() const;

 private:
  const UnsavedObjects& own_;
  std::mutex& mutex_;
  std::map<std::int64_t, bool> inParents_;  // true: deleted
};

}  // namespace kelvora::engine
