#include "engine/ContextState.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kelvora::engine {

namespace {

double secondsNow() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

ContextState::ContextState(std::shared_ptr<PersistentStoreCoordinator> coordinator,
                           std::shared_ptr<ContextState> parent,
                           std::unique_ptr<ContextQueue> queue)
    : coordinator_(std::move(coordinator)), parent_(std::move(parent)), queue_(std::move(queue)) {
  if (coordinator_ != nullptr) {
    pending_.resize(model().entities().size());
    registry_.resize(model().entities().size());
  }
}

void ContextState::close() {
  closed_ = true;
  decltype(pending_) dropped(pending_.size());
  const std::lock_guard lock(mutex_);
  std::swap_ranges(pending_.begin(), pending_.end(), dropped.begin());
  ++changeCount_;
}

ManagedObjectPtr ContextState::insert(std::string_view entityName) {
  const EntityDescription* entity =
      coordinator_ == nullptr ? nullptr : model().entityNamed(entityName);
  if (entity == nullptr) {
    return nullptr;
  }
  ManagedObjectPtr made =
      coordinator_->makeObject({shared_from_this(), entity, coordinator_->nextObjectID()});
  made->values_ = entity->defaultValues();
  made->loaded_ = true;
  made->status_ = Status::kInserted;
  enroll(made);
  const std::lock_guard lock(mutex_);
  pending_[entity->number].changed.emplace(made->id_, made);
  ++changeCount_;
  return made;
}

// By entity, since a damaged file may have one id in several tables.
ManagedObjectPtr ContextState::registered(const EntityDescription& entity, std::int64_t id) const {
  const std::lock_guard lock(mutex_);
  const auto& known = registry_[entity.number];
  const auto found = known.find(id);
  return found == known.end() ? nullptr : found->second.object.lock();
}

void ContextState::enroll(const ManagedObjectPtr& object) {
  const std::lock_guard lock(mutex_);
  registry_[object->entity_->number].insert_or_assign(object->id_,
                                                      Registered{object.get(), object});
}

ManagedObjectPtr ContextState::object(const EntityDescription& entity, std::int64_t id) {
  if (ManagedObjectPtr known = registered(entity, id)) {
    return known;
  }
  ManagedObjectPtr made = coordinator_->makeObject({shared_from_this(), &entity, id});
  enroll(made);
  return made;
}

ManagedObjectPtr ContextState::own(const ManagedObjectPtr& object) {
  if (object == nullptr || object->context_.get() == this) {
    return object;
  }
  const bool sameStore = coordinator_ != nullptr && object->context_->coordinator_ == coordinator_;
  return sameStore ? this->object(*object->entity_, object->id_) : nullptr;
}

void ContextState::forget(const ManagedObject& object) {
  const std::lock_guard lock(mutex_);
  auto& known = registry_[object.entity_->number];
  const auto found = known.find(object.id_);
  // The row may have a new object already.
  if (found != known.end() && found->second.address == &object) {
    known.erase(found);
  }
}

void ContextState::refreshAll() {
  Objects objects;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& entity : registry_) {
      for (const auto& [id, entry] : entity) {
        if (ManagedObjectPtr object = entry.object.lock()) {
          objects.push_back(std::move(object));
        }
      }
    }
  }
  for (const ManagedObjectPtr& object : objects) {
    object->members_.reset();
    if (object->status_ == Status::kClean || object->status_ == Status::kUpdated) {
      object->loaded_ = false;
    }
  }
}

std::size_t ContextState::registeredObjects() const {
  const std::lock_guard lock(mutex_);
  std::size_t objects = 0;
  for (const auto& entity : registry_) {
    objects += entity.size();
  }
  return objects;
}

bool ContextState::hasChanges() const {
  const std::lock_guard lock(mutex_);
  return std::any_of(pending_.begin(), pending_.end(),
                     [](const UnsavedObjects& entity) { return !entity.empty(); });
}

bool ContextState::chainHasChanges() const {
  return hasChanges() || (parent_ != nullptr && parent_->chainHasChanges());
}

std::uint64_t ContextState::parentChanges() const {
  return parent_ == nullptr ? 0 : parent_->changeCount_ + parent_->parentChanges();
}

// Both parts only grow: with every commit, and with every change of a parent. The caller takes
// `parents` before it looks at the parents' values, so that a change made meanwhile outdates them.
std::uint64_t ContextState::stamp(std::uint64_t parents) const {
  return coordinator_->seenVersion() + parents;
}

bool ContextState::isStale(std::uint64_t of, double loadedAtSeconds) {
  const double interval = stalenessSeconds_;
  if (interval < 0 || (interval > 0 && secondsNow() - loadedAtSeconds < interval)) {
    return false;
  }
  return of != coordinator_->version() + parentChanges();
}

void ContextState::willRead(ManagedObject& object) {
  if (closed_ || object.status_ == Status::kInserted || object.status_ == Status::kDeleted) {
    return;
  }
  if (!object.loaded_ || isStale(object.stamp_, object.loadedAtSeconds_)) {
    load(object);
  }
}

void ContextState::load(ManagedObject& object) {
  using RowResult = PersistentStoreCoordinator::RowResult;
  const std::uint64_t parents = parentChanges();
  const std::uint64_t before = stamp(parents);
  // Before the row: what a parent saves in between is then in at least one of the two.
  const Overlay overlay = overlayOf(*object.entity_, object.id_);
  RowResult result = RowResult::kMissing;
  if (!overlay.deleted) {
    result = coordinator_->row(*object.entity_, object.id_,
                               [&](const RowCursor& row) { fill(object, row, &overlay, parents); });
  }
  if (result == RowResult::kMissing) {
    fillWithoutRow(object, overlay, before);
  }
}

// The row is new in a parent, or does not exist any more.
void ContextState::fillWithoutRow(ManagedObject& object, const Overlay& overlay,
                                  std::uint64_t stamp) {
  object.gone_ = !overlay.inserted || overlay.deleted;
  noteLoaded(object, stamp);
  if (object.gone_) {
    return;
  }
  const std::lock_guard lock(mutex_);
  for (std::size_t i = 0; i < object.values_.size(); ++i) {
    if ((object.changed_ >> i & 1) == 0) {
      object.values_[i] = overlay.values[i];
    }
  }
}

void ContextState::fill(ManagedObject& object, const RowCursor& row, const Overlay* overlay,
                        std::uint64_t parents) {
  for (std::size_t i = 0; i < object.values_.size(); ++i) {
    if ((object.changed_ >> i & 1) != 0) {
      continue;
    }
    const bool overlaid = overlay != nullptr && (overlay->columns >> i & 1) != 0;
    object.values_[i] = overlaid ? overlay->values[i] : row.value(i);
  }
  object.gone_ = false;
  noteLoaded(object, stamp(parents));
}

void ContextState::noteLoaded(ManagedObject& object, std::uint64_t stamp) const {
  object.loaded_ = true;
  object.stamp_ = stamp;
  object.loadedAtSeconds_ = loadTime();
}

// Only an interval needs the time.
double ContextState::loadTime() const { return stalenessSeconds_ > 0 ? secondsNow() : 0; }

ContextState::Overlay ContextState::overlayOf(const EntityDescription& entity,
                                              std::int64_t id) const {
  Overlay overlay;
  if (parent_ != nullptr) {
    overlay = parent_->overlayOf(entity, id);
    parent_->addToOverlay(overlay, entity, id);
  }
  return overlay;
}

void ContextState::addToOverlay(Overlay& overlay, const EntityDescription& entity,
                                std::int64_t id) const {
  const std::lock_guard lock(mutex_);
  const ManagedObject* found = pending_[entity.number].find(id);
  if (found == nullptr) {
    return;
  }
  const ManagedObject& object = *found;
  overlay.deleted = overlay.deleted || object.status_ == Status::kDeleted;
  overlay.inserted = overlay.inserted || object.status_ == Status::kInserted;
  const std::uint64_t columns =
      object.status_ == Status::kInserted ? ~std::uint64_t{0} : object.changed_;
  overlay.values.resize(object.values_.size());
  for (std::size_t i = 0; i < object.values_.size(); ++i) {
    if ((columns >> i & 1) != 0) {
      overlay.values[i] = object.values_[i];
    }
  }
  overlay.columns |= columns;
}

const ManagedValue& ContextState::read(ManagedObject& object, std::size_t column) {
  if ((object.changed_ >> column & 1) == 0) {
    willRead(object);
  }
  return object.values_[column];
}

void ContextState::write(ManagedObject& object, std::size_t column, ManagedValue value) {
  const bool known = object.loaded_ || object.status_ == Status::kInserted;
  if (known && read(object, column) == value) {
    return;
  }
  markChanged(object, column, std::move(value));
}

void ContextState::markChanged(ManagedObject& object, std::size_t column, ManagedValue value) {
  ManagedObjectPtr self = object.shared_from_this();
  const std::lock_guard lock(mutex_);
  object.values_[column] = std::move(value);
  if (closed_) {
    return;
  }
  object.changed_ |= std::uint64_t{1} << column;
  ++changeCount_;
  if (object.status_ == Status::kClean) {
    object.status_ = Status::kUpdated;
    pending_[object.entity_->number].changed.emplace(object.id_, std::move(self));
  }
}

}  // namespace kelvora::engine
