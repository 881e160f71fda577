#include <algorithm>
#include <unordered_set>
#include <utility>

#include "engine/ContextState.h"

// The members of an owner as a list: made from the to-one columns of the members, and kept in step
// with their changes while it is in memory.
namespace kelvora::engine {

ManagedObject::Members& ContextState::membersCache(ManagedObject& owner, std::size_t toMany) const {
  if (owner.members_ == nullptr) {
    owner.members_ = std::make_unique<ManagedObject::Members[]>(owner.entity_->toMany.size());
  }
  return owner.members_[toMany];
}

// The list of an owner, when it is in memory and must follow the change of a member; else null.
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

// A member that comes last is appended. Any other place makes the owner read its list again: what a
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
    keepListed(cache, objects);
  }
  sortMembers(relationship, objects);
  if (done) {
    rememberMembers(cache, objects, stamp);
  }
  return objects;
}

void ContextState::keepListed(const ManagedObject::Members& cache, Objects& members) {
  const std::unordered_set<std::int64_t> listed(cache.ids.begin(), cache.ids.end());
  std::erase_if(members, [&](const auto& member) { return !listed.contains(member->id_); });
}

void ContextState::rememberMembers(ManagedObject::Members& cache, const Objects& members,
                                   std::uint64_t stamp) const {
  cache.ids.clear();
  for (const ManagedObjectPtr& member : members) {
    cache.ids.push_back(member->id_);
  }
  cache.stamp = stamp;
  cache.loadedAtSeconds = loadTime();
  cache.loaded = true;
}

// The list as last read, for when the file cannot be read now.
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

}  // namespace kelvora::engine
