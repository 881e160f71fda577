#include "engine/UnsavedRows.h"

#include <algorithm>

namespace kelvora::engine {

const ManagedObject* UnsavedObjects::find(std::int64_t id) const {
  for (const ByID* objects : {&changed, &deleted}) {
    if (const auto found = objects->find(id); found != objects->end()) {
      return found->second.get();
    }
  }
  return nullptr;
}

void DirtyRows::add(const UnsavedObjects& parents) {
  for (const auto& [id, object] : parents.changed) {
    inParents_.emplace(id, false);
  }
  for (const auto& [id, object] : parents.deleted) {
    inParents_.insert_or_assign(id, true);
  }
}

bool DirtyRows::empty() const {
  const std::lock_guard lock(mutex_);
  return inParents_.empty() && own_.empty();
}

bool DirtyRows::contains(std::int64_t id) const {
  const std::lock_guard lock(mutex_);
  return own_.contains(id) || inParents_.contains(id);
}

std::vector<std::int64_t> DirtyRows::live() const {
  std::vector<std::int64_t> ids;
  const std::lock_guard lock(mutex_);
  for (const auto& [id, object] : own_.changed) {
    const auto above = inParents_.find(id);
    if (above == inParents_.end() || !above->second) {
      ids.push_back(id);
    }
  }
  for (const auto& [id, deleted] : inParents_) {
    if (!deleted && !own_.contains(id)) {
      ids.push_back(id);
    }
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

}  // namespace kelvora::engine
