#include <utility>

#include "engine/ContextState.h"

// Deletion in memory, with what the delete rules of the relationships say.
namespace kelvora::engine {

// A loop, not a recursion: what is deleted with an object may lead back to it.
void ContextState::deleteObject(ManagedObject& object) {
  Objects doomed{object.shared_from_this()};
  while (!doomed.empty()) {
    const ManagedObjectPtr next = std::move(doomed.back());
    doomed.pop_back();
    if (next->status_ != Status::kDeleted) {
      deleteOne(next, doomed);
    }
  }
}

void ContextState::deleteOne(const ManagedObjectPtr& object, Objects& doomed) {
  willRead(*object);
  markDeleted(object);
  for (std::size_t i = 0; i < object->entity_->toMany.size(); ++i) {
    const ToMany& relationship = object->entity_->toMany[i];
    const Objects orphans = members(*object, i);
    membersCache(*object, i).ids.clear();  // not one by one, which each member would search for
    for (const ManagedObjectPtr& member : orphans) {
      if (relationship.deleteRule == DeleteRule::kCascade) {
        doomed.push_back(member);
      } else {
        setOwner(*member, relationship.inverseColumn, {}, {});
      }
    }
  }
  for (std::size_t i = 0; i < object->entity_->columns.size(); ++i) {
    if (object->entity_->columns[i].kind == ColumnKind::kToOne) {
      leaveOwner(*object, i);
    }
  }
}

void ContextState::markDeleted(const ManagedObjectPtr& object) {
  const std::lock_guard lock(mutex_);
  UnsavedObjects& pending = pending_[object->entity_->number];
  pending.changed.erase(object->id_);
  if (object->status_ != Status::kInserted) {
    pending.deleted.emplace(object->id_, object);
  }
  object->status_ = Status::kDeleted;
  ++changeCount_;
}

}  // namespace kelvora::engine
