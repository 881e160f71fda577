#include <algorithm>
#include <exception>
#include <utility>

#include "base/Log.h"
#include "engine/ContextState.h"

namespace kelvora::engine {

ContextState::Unsaved ContextState::unsaved() const {
  Unsaved unsaved;
  {
    const std::lock_guard lock(mutex_);
    for (const UnsavedObjects& entity : pending_) {
      for (const auto* objects : {&entity.changed, &entity.deleted}) {
        for (const auto& [id, object] : *objects) {
          unsaved.objects.push_back(object);
        }
      }
    }
  }
  // In the order of their ids, new rows are neighbours in the file.
  std::sort(unsaved.objects.begin(), unsaved.objects.end(),
            [](const auto& a, const auto& b) { return a->id_ < b->id_; });
  for (const ManagedObjectPtr& object : unsaved.objects) {
    RowChange change;
    change.entity = object->entity_;
    change.id = object->id_;
    change.columns = object->changed_;
    change.kind = object->status_ == Status::kInserted  ? RowChange::Kind::kInsert
                  : object->status_ == Status::kUpdated ? RowChange::Kind::kUpdate
                                                        : RowChange::Kind::kDelete;
    if (change.kind != RowChange::Kind::kDelete) {
      change.values = &object->values_;
    }
    unsaved.changes.push_back(change);
  }
  return unsaved;
}

void ContextState::markSaved(const Unsaved& saved, const SaveOutcome& outcome) {
  decltype(pending_) dropped(pending_.size());
  const std::lock_guard lock(mutex_);
  for (const SaveOutcome::Placed& placed : outcome.placed) {
    saved.objects[placed.change]->values_[placed.column] = placed.order;
  }
  for (const std::size_t gone : outcome.gone) {
    saved.objects[gone]->gone_ = true;
  }
  for (const ManagedObjectPtr& object : saved.objects) {
    object->changed_ = 0;
    if (object->status_ != Status::kDeleted) {
      object->status_ = Status::kClean;
    }
  }
  std::swap_ranges(pending_.begin(), pending_.end(), dropped.begin());
  ++changeCount_;
}

std::optional<std::string> ContextState::saveToStore() {
  const Unsaved all = unsaved();
  if (all.changes.empty()) {
    return std::nullopt;
  }
  try {
    markSaved(all, coordinator_->save(all.changes));
    return std::nullopt;
  } catch (const std::exception& error) {
    return error.what();
  }
}

std::optional<std::string> ContextState::saveToParent() {
  const Unsaved all = unsaved();
  if (all.changes.empty()) {
    return std::nullopt;
  }
  // Refused here: in the parent it would fail every save and could not be corrected there.
  for (const RowChange& change : all.changes) {
    if (auto missing = missingValue(change)) {
      return missing;
    }
  }
  bool taken = false;
  parent_->queue().performAndWait([&] {
    taken = !parent_->closed_;
    if (taken) {
      parent_->absorb(all.changes);
    }
  });
  if (!taken) {
    return "the parent context is gone";
  }
  markSaved(all, {});
  return std::nullopt;
}

// Deletions last, as in the file: what left an object before its deletion is not deleted with it.
void ContextState::absorb(const std::vector<RowChange>& changes) {
  for (const RowChange& change : changes) {
    if (change.kind != RowChange::Kind::kDelete) {
      absorb(change);
    }
  }
  for (const RowChange& change : changes) {
    if (change.kind == RowChange::Kind::kDelete) {
      deleteObject(*object(*change.entity, change.id));
    }
  }
}

void ContextState::absorb(const RowChange& change) {
  if (change.kind == RowChange::Kind::kInsert) {
    absorbInsert(change);
    return;
  }
  const ManagedObjectPtr mine = object(*change.entity, change.id);
  if (mine->status_ == Status::kDeleted) {
    return;
  }
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    const Column& column = change.entity->columns[i];
    const bool follows = column.kind == ColumnKind::kOrder;
    if ((change.columns >> i & 1) == 0 || follows) {
      continue;
    }
    if (column.kind == ColumnKind::kToOne) {
      setOwner(
          *mine, i, wholeNumber((*change.values)[i]),
          column.orderColumn ? wholeNumber((*change.values)[*column.orderColumn]) : std::nullopt);
    } else {
      markChanged(*mine, i, (*change.values)[i]);
    }
  }
  // A move within the same owner changes only the order.
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    const auto order = change.entity->columns[i].orderColumn;
    if (order && (change.columns >> *order & 1) != 0 && (change.columns >> i & 1) == 0) {
      setOwner(*mine, i, wholeNumber(read(*mine, i)), wholeNumber((*change.values)[*order]));
    }
  }
}

void ContextState::absorbInsert(const RowChange& change) {
  const ManagedObjectPtr mine = object(*change.entity, change.id);
  {
    const std::lock_guard lock(mutex_);
    mine->values_ = *change.values;
    mine->loaded_ = true;
    mine->gone_ = false;
    mine->status_ = Status::kInserted;
    pending_[change.entity->number].changed.emplace(change.id, mine);
    ++changeCount_;
  }
  for (std::size_t i = 0; i < change.entity->columns.size(); ++i) {
    if (change.entity->columns[i].kind == ColumnKind::kToOne) {
      joinOwner(*mine, i);
    }
  }
}

std::optional<std::string> ContextState::save() {
  return parent_ == nullptr ? saveToStore() : saveToParent();
}

// What was never saved is deleted; everything else is read again.
void ContextState::rollback() {
  decltype(pending_) dropped(pending_.size());
  {
    const std::lock_guard lock(mutex_);
    std::swap_ranges(pending_.begin(), pending_.end(), dropped.begin());
    for (const UnsavedObjects& entity : dropped) {
      for (const auto* objects : {&entity.changed, &entity.deleted}) {
        for (const auto& [id, object] : *objects) {
          const bool isNew = object->status_ == Status::kInserted;
          object->status_ = isNew ? Status::kDeleted : Status::kClean;
          object->changed_ = 0;
        }
      }
    }
    ++changeCount_;
  }
  refreshAll();
}

void ContextState::saveThisAndParents() {
  if (const auto error = save()) {
    log("Save error: " + *error);
    return;
  }
  if (parent_ != nullptr) {
    parent_->queue().performAndWait([this] { parent_->saveThisAndParents(); });
  }
}

}  // namespace kelvora::engine
