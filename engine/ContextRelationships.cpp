#include <algorithm>
#include <unordered_set>
#include <utility>

#include "engine/ContextState.h"

// A relationship is stored in one place: the to-one column of the member's row, with its order
// column. Everything here changes these two; the lists of owners are made from them.
namespace kelvora::engine {

namespace {

// Orders of a damaged file may be any number. Only those between these two can have neighbours.
constexpr std::int64_t kLowestOrder = -kFirstProvisionalOrder;

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

// This context's object of the same row, if it is of the entity and this context sees the row.
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
  // No number is left between them: this object and all behind it are appended again.
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
  // The members that are equal from the start keep their order.
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

}  // namespace kelvora::engine
