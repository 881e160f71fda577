#include <algorithm>
#include <unordered_set>
#include <utility>

#include "engine/ContextState.h"

// A relationship is stored in one place: the to-one column of the member's row, with its order
// column. Everything here changes these two; the lists that owners answer are made from them.
namespace kelvora::engine {

namespace {

// Orders of a damaged file may be any number; only those between these two have room beside them.
constexpr std::int64_t kLowestOrder = -kFirstProvisionalOrder;

std::int64_t orderOf(const ManagedValue& value) { return wholeNumber(value).value_or(0); }

std::optional<std::int64_t> orderBetween(std::int64_t before, std::int64_t after) {
  if (before < kLowestOrder || after >= kFirstProvisionalOrder || before >= after ||
      after - before < 2) {
    return std::nullopt;
  }
  return before + (after - before) / 2;
}

}  // namespace

std::int64_t ContextState::nextProvisionalOrder() {
  static std::atomic<std::int64_t> given{0};
  return kFirstProvisionalOrder + ++given;
}

bool ContextState::isLive(const ManagedObject& object) {
  return !object.gone_ && object.status_ != Status::kDeleted;
}

// This context's object of the same row, when it is of an entity and this context sees the row.
ManagedObjectPtr ContextState::ownLive(const ManagedObjectPtr& object, std::size_t entity) {
  const ManagedObjectPtr mine = own(object);
  if (mine == nullptr || mine->entity_->number != entity) {
    return nullptr;
  }
  if (!mine->loaded_) {
    willRead(*mine);
  }
  return isLive(*mine) ? mine : nullptr;
}

ManagedObjectPtr ContextState::related(ManagedObject& object, std::size_t column) {
  const std::optional<std::int64_t> id = wholeNumber(read(object, column));
  if (!id || coordinator_ == nullptr) {
    return nullptr;
  }
  const EntityDescription& destination =
      model().entity(object.entity_->columns[column].destination);
  ManagedObjectPtr target = this->object(destination, *id);
  willRead(*target);
  return isLive(*target) ? target : nullptr;
}

ManagedObject::Members& ContextState::membersCache(ManagedObject& owner, std::size_t toMany) const {
  if (owner.members_ == nullptr) {
    owner.members_ = std::make_unique<ManagedObject::Members[]>(owner.entity_->toMany.size());
  }
  return owner.members_[toMany];
}

// The list of an owner that is in memory already; null when there is none to keep in step.
ManagedObject::Members* ContextState::loadedCache(const EntityDescription& member,
                                                  std::size_t column, const ManagedValue& owner) {
  const std::optional<std::int64_t> id = wholeNumber(owner);
  const EntityDescription& owners = model().entity(member.columns[column].destination);
  const ManagedObjectPtr object = id ? registered(owners, *id) : nullptr;
  if (object == nullptr || object->members_ == nullptr) {
    return nullptr;
  }
  ManagedObject::Members& cache = object->members_[member.columns[column].inverse.value()];
  return cache.loaded ? &cache : nullptr;
}

void ContextState::leaveOwner(ManagedObject& member, std::size_t column) {
  if (ManagedObject::Members* cache =
          loadedCache(*member.entity_, column, member.values_[column])) {
    std::erase(cache->ids, member.id_);
  }
}

// A member that comes last is appended; any other place makes the owner read its list again. What a
// child appended may come before what was appended here meanwhile.
void ContextState::joinOwner(ManagedObject& member, std::size_t column) {
  ManagedObject::Members* cache = loadedCache(*member.entity_, column, member.values_[column]);
  if (cache == nullptr) {
    return;
  }
  const auto order = member.entity_->columns[column].orderColumn;
  const ManagedObjectPtr last =
      cache->ids.empty() ? nullptr : registered(*member.entity_, cache->ids.back());
  const std::int64_t lastOrder = order && last ? orderOf(last->values_[*order]) : 0;
  const std::int64_t lowest = std::max(kFirstProvisionalOrder, lastOrder);
  if (order && orderOf(member.values_[*order]) < lowest) {
    cache->loaded = false;
  } else {
    cache->ids.push_back(member.id_);
  }
}

void ContextState::setOwner(ManagedObject& member, std::size_t column,
                            std::optional<std::int64_t> owner, std::optional<std::int64_t> order) {
  read(member, column);
  leaveOwner(member, column);
  write(member, column, numberOrNil(owner));
  if (const auto orderColumn = member.entity_->columns[column].orderColumn) {
    write(member, *orderColumn, numberOrNil(order));
  }
  joinOwner(member, column);
}

bool ContextState::setRelated(ManagedObject& object, std::size_t column,
                              const ManagedObjectPtr& target) {
  const ManagedObjectPtr mine = ownLive(target, object.entity_->columns[column].destination);
  if ((target != nullptr && mine == nullptr) || object.status_ == Status::kDeleted) {
    return false;
  }
  std::optional<std::int64_t> owner;
  std::optional<std::int64_t> order;
  if (mine != nullptr) {
    owner = mine->id_;
    order = nextProvisionalOrder();
  }
  if (wholeNumber(read(object, column)) != owner) {
    setOwner(object, column, owner, order);
  }
  return true;
}

std::optional<ContextState::Objects> ContextState::cachedMembers(ManagedObject& owner,
                                                                 std::size_t toMany) {
  const ManagedObject::Members& cache = membersCache(owner, toMany);
  if (!cache.loaded || (!closed_ && isStale(cache.stamp, cache.loadedAtSeconds))) {
    return std::nullopt;
  }
  const EntityDescription& destination = model().entity(owner.entity_->toMany[toMany].destination);
  Objects objects;
  objects.reserve(cache.ids.size());
  for (const std::int64_t id : cache.ids) {
    ManagedObjectPtr object = registered(destination, id);
    if (object == nullptr) {
      return std::nullopt;
    }
    if (isLive(*object)) {
      objects.push_back(std::move(object));
    }
  }
  return objects;
}

ContextState::Objects ContextState::members(ManagedObject& owner, std::size_t toMany) {
  if (auto cached = cachedMembers(owner, toMany)) {
    return *std::move(cached);
  }
  if (coordinator_ == nullptr || closed_) {
    return {};
  }
  return loadMembers(owner, toMany);
}

ContextState::Objects ContextState::loadMembers(ManagedObject& owner, std::size_t toMany) {
  const ToMany& relationship = owner.entity_->toMany[toMany];
  const EntityDescription& destination = model().entity(relationship.destination);
  ManagedObject::Members& cache = membersCache(owner, toMany);
  // A list once read stays, even when the objects on it were released and are read again.
  const bool keepsList = cache.loaded && stalenessSeconds_ < 0;
  const std::uint64_t parents = parentChanges();
  std::uint64_t stamp = this->stamp(parents);
  const DirtyRows dirty = dirtyRows(destination.number);
  const bool isClean = dirty.empty();
  Objects objects;
  objects.reserve(cache.ids.size());
  const auto visit = [&](const RowCursor& row) {
    if (objects.empty()) {
      stamp = this->stamp(parents);
    }
    if (isClean || !dirty.contains(row.id())) {
      objects.push_back(objectOfRow(destination, row, parents));
    }
  };
  const bool done =
      coordinator_->members(destination, relationship.inverseColumn, owner.id_, visit);
  if (!done && cache.loaded) {
    return knownMembers(destination, cache);
  }
  addDirtyMembers(owner, relationship, dirty, objects);
  if (keepsList) {
    const std::unordered_set<std::int64_t> listed(cache.ids.begin(), cache.ids.end());
    std::erase_if(objects, [&](const auto& object) { return !listed.contains(object->id_); });
  }
  sortMembers(relationship, objects);
  if (done) {
    cache.ids.clear();
    for (const ManagedObjectPtr& object : objects) {
      cache.ids.push_back(object->id_);
    }
    cache.stamp = stamp;
    cache.loadedAtSeconds = loadTime();
    cache.loaded = true;
  }
  return objects;
}

// What stands when the file cannot be read now.
ContextState::Objects ContextState::knownMembers(const EntityDescription& entity,
                                                 const ManagedObject::Members& cache) {
  Objects objects;
  for (const std::int64_t id : cache.ids) {
    ManagedObjectPtr object = this->object(entity, id);
    if (isLive(*object)) {
      objects.push_back(std::move(object));
    }
  }
  return objects;
}

void ContextState::addDirtyMembers(ManagedObject& owner, const ToMany& toMany,
                                   const DirtyRows& dirty, Objects& members) {
  const EntityDescription& destination = model().entity(toMany.destination);
  for (const std::int64_t id : dirty.live()) {
    ManagedObjectPtr member = object(destination, id);
    if (wholeNumber(read(*member, toMany.inverseColumn)) == owner.id_ && isLive(*member)) {
      members.push_back(std::move(member));
    }
  }
}

void ContextState::sortMembers(const ToMany& toMany, Objects& members) {
  const auto order = model().entity(toMany.destination).columns[toMany.inverseColumn].orderColumn;
  const auto comesBefore = [&](const ManagedObjectPtr& a, const ManagedObjectPtr& b) {
    const std::int64_t orderA = order ? orderOf(a->values_[*order]) : 0;
    const std::int64_t orderB = order ? orderOf(b->values_[*order]) : 0;
    return orderA != orderB ? orderA < orderB : a->id_ < b->id_;
  };
  if (!std::is_sorted(members.begin(), members.end(), comesBefore)) {
    std::sort(members.begin(), members.end(), comesBefore);
  }
}

bool ContextState::addMember(ManagedObject& owner, std::size_t toMany,
                             const ManagedObjectPtr& member) {
  const ToMany& relationship = owner.entity_->toMany[toMany];
  const ManagedObjectPtr mine = ownLive(member, relationship.destination);
  if (mine == nullptr || !isLive(owner)) {
    return false;
  }
  if (relationship.ordered || wholeNumber(read(*mine, relationship.inverseColumn)) != owner.id_) {
    setOwner(*mine, relationship.inverseColumn, owner.id_, nextProvisionalOrder());
  }
  return true;
}

void ContextState::appendAll(ManagedObject& owner, const ToMany& toMany, const Objects& objects,
                             std::size_t from) {
  for (std::size_t i = from; i < objects.size(); ++i) {
    setOwner(*objects[i], toMany.inverseColumn, owner.id_, nextProvisionalOrder());
  }
}

bool ContextState::insertMember(ManagedObject& owner, std::size_t toMany,
                                const ManagedObjectPtr& member, std::size_t index) {
  const ToMany& relationship = owner.entity_->toMany[toMany];
  const ManagedObjectPtr mine = ownLive(member, relationship.destination);
  if (mine == nullptr || !isLive(owner)) {
    return false;
  }
  Objects list = members(owner, toMany);
  std::erase(list, mine);
  if (!relationship.ordered || index >= list.size()) {
    return addMember(owner, toMany, mine);
  }
  const std::size_t column = relationship.inverseColumn;
  const std::size_t orderColumn = mine->entity_->columns[column].orderColumn.value();
  const std::int64_t after = orderOf(list[index]->values_[orderColumn]);
  const std::int64_t before = index == 0
                                  ? std::max(after, kLowestOrder + 2 * kOrderGap) - 2 * kOrderGap
                                  : orderOf(list[index - 1]->values_[orderColumn]);
  if (const auto between = orderBetween(before, after)) {
    setOwner(*mine, column, owner.id_, between);
    return true;
  }
  // No room: this one and all behind it are appended anew.
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(index), mine);
  appendAll(owner, relationship, list, index);
  return true;
}

bool ContextState::removeMember(ManagedObject& owner, std::size_t toMany,
                                const ManagedObjectPtr& member) {
  const std::size_t column = owner.entity_->toMany[toMany].inverseColumn;
  const ManagedObjectPtr mine = own(member);
  const bool isMember = mine != nullptr && isLive(owner) &&
                        mine->entity_->number == owner.entity_->toMany[toMany].destination &&
                        wholeNumber(read(*mine, column)) == owner.id_;
  if (!isMember) {
    return false;
  }
  setOwner(*mine, column, {}, {});
  return true;
}

bool ContextState::setMembers(ManagedObject& owner, std::size_t toMany, const Objects& wanted) {
  const ToMany& relationship = owner.entity_->toMany[toMany];
  if (!isLive(owner)) {
    return false;
  }
  Objects mine;
  std::unordered_set<std::int64_t> ids;
  for (const ManagedObjectPtr& object : wanted) {
    ManagedObjectPtr one = ownLive(object, relationship.destination);
    if (one != nullptr && ids.insert(one->id_).second) {
      mine.push_back(std::move(one));
    }
  }
  const Objects before = members(owner, toMany);
  for (const ManagedObjectPtr& object : before) {
    if (!ids.contains(object->id_)) {
      setOwner(*object, relationship.inverseColumn, {}, {});
    }
  }
  // What stands at the same place from the start keeps its order.
  std::size_t same = 0;
  while (same < mine.size() && same < before.size() && mine[same] == before[same]) {
    ++same;
  }
  if (relationship.ordered) {
    appendAll(owner, relationship, mine, same);
    return true;
  }
  for (const ManagedObjectPtr& object : mine) {
    addMember(owner, toMany, object);
  }
  return true;
}

// One after the other and not by recursion: what goes with an object may lead back to it.
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
