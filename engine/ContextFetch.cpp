#include <algorithm>
#include <exception>
#include <unordered_set>
#include <utility>

#include "engine/ContextState.h"
#include "engine/PredicateEvaluator.h"

namespace kelvora::engine {

namespace {

// An object as a predicate sees it: with the unsaved values of its context.
class ObjectSource : public PropertySource {
 public:
  ObjectSource(ContextState& context, ManagedObjectPtr object)
      : context_(context), object_(std::move(object)) {}
  std::int64_t id() const override { return object_->objectID(); }
  ManagedValue property(const std::vector<std::size_t>& path, std::size_t column) const override {
    ManagedObjectPtr at = object_;
    for (const std::size_t relationship : path) {
      at = context_.related(*at, relationship);
      if (at == nullptr) {
        return {};
      }
    }
    return context_.read(*at, column);
  }

 private:
  ContextState& context_;
  ManagedObjectPtr object_;
};

void eraseAll(const ContextState::Objects& unwanted, ContextState::Objects& objects) {
  const std::unordered_set<ManagedObjectPtr> all(unwanted.begin(), unwanted.end());
  std::erase_if(objects, [&](const auto& object) { return all.contains(object); });
}

// What the order of a fetch leads to.
std::optional<FetchOrder> resolvedOrder(const SortDescriptor& sort, const ManagedObjectModel& model,
                                        const EntityDescription& entity) {
  ResolvedExpression property = resolveKeyPath(sort.key, model, entity);
  if (property.valueClass == ValueClass::kObject) {
    throw PredicateError("objects have no order", 0);
  }
  return FetchOrder{std::move(property.path), property.column, sort.ascending};
}

}  // namespace

DirtyRows ContextState::dirtyRows(std::size_t entity) const {
  DirtyRows rows(pending_[entity], mutex_);
  if (parent_ != nullptr) {
    parent_->addDirtyRows(rows, entity);
  }
  return rows;
}

void ContextState::addDirtyRows(DirtyRows& rows, std::size_t entity) const {
  if (parent_ != nullptr) {
    parent_->addDirtyRows(rows, entity);
  }
  const std::lock_guard lock(mutex_);
  rows.add(pending_[entity]);
}

// Those of an entity whose value of one of these columns is not the file's. Inserted ones are left
// out: no row of the file leads to them.
std::vector<std::int64_t> ContextState::touchedObjects(std::size_t entity,
                                                       std::uint64_t columns) const {
  std::vector<std::int64_t> ids;
  if (parent_ != nullptr) {
    ids = parent_->touchedObjects(entity, columns);
  }
  const std::lock_guard lock(mutex_);
  for (const auto& [id, object] : pending_[entity].changed) {
    if (object->status_ == Status::kUpdated && (object->changed_ & columns) != 0) {
      ids.push_back(id);
    }
  }
  for (const auto& [id, object] : pending_[entity].deleted) {
    ids.push_back(id);
  }
  return ids;
}

// Holds for the rows of the file that unsaved changes of other objects affect; none when there are
// none.
std::optional<ResolvedPredicate> ContextState::leadsToTouched(const EntityDescription& entity,
                                                              const ColumnsByPath& columns) const {
  constexpr std::size_t kMostObjects = 10000;
  ResolvedPredicate any;
  any.kind = NodeKind::kOr;
  std::size_t objects = 0;
  for (const auto& [path, read] : columns) {
    const EntityDescription* at = &entity;
    for (const std::size_t step : path) {
      at = &model().entity(at->columns[step].destination);
    }
    const std::vector<std::int64_t> ids = touchedObjects(at->number, read);
    objects += ids.size();
    if (!ids.empty()) {
      any.children.push_back(leadsTo(path, ids));
    }
  }
  if (objects > kMostObjects) {
    return ResolvedPredicate();  // more than a statement takes: every row
  }
  return any.children.empty() ? std::nullopt : std::optional(std::move(any));
}

ManagedObjectPtr ContextState::objectOfRow(const EntityDescription& entity, const RowCursor& row,
                                           std::uint64_t parents) {
  ManagedObjectPtr known = registered(entity, row.id());
  if (known == nullptr) {
    known = coordinator_->makeObject({shared_from_this(), &entity, row.id()});
    enroll(known);
  } else if (known->loaded_ && stalenessSeconds_ != 0) {
    return known;
  }
  fill(*known, row, nullptr, parents);
  return known;
}

std::optional<ContextState::Objects> ContextState::fetchClean(const FetchRequest& request,
                                                              std::uint64_t parents) {
  Objects objects;
  const bool done = coordinator_->fetch(request, [&](const RowCursor& row) {
    objects.push_back(objectOfRow(*request.entity, row, parents));
  });
  return done ? std::optional(std::move(objects)) : std::nullopt;
}

// SQL judges the rows that unsaved changes cannot affect. The others are judged in memory: those
// that are changed themselves, and those that lead to a changed object whose values are read.
std::optional<ContextState::Objects> ContextState::fetchDirty(const FetchRequest& request,
                                                              std::uint64_t parents) {
  const EntityDescription& entity = *request.entity;
  std::optional<ResolvedPredicate> resolved;
  std::optional<ResolvedPredicate> affected;
  if (request.predicate != nullptr) {
    resolved = resolve(*request.predicate, model(), entity);
    affected = leadsToTouched(entity, columnsBehind(*resolved));
  }
  const DirtyRows dirty = dirtyRows(entity.number);
  if (dirty.empty() && !affected && !isOrderTouched(request)) {
    return fetchClean(request, parents);
  }
  Objects toJudge;
  FetchRequest behind;
  behind.entity = &entity;
  behind.resolved = affected ? &*affected : nullptr;
  FetchRequest stored = request;
  stored.firstOnly = false;
  Objects objects;
  if ((affected && !addRows(behind, dirty, parents, toJudge)) ||
      !addRows(stored, dirty, parents, objects)) {
    return std::nullopt;
  }
  eraseAll(toJudge, objects);
  for (const std::int64_t id : dirty.live()) {
    toJudge.push_back(object(entity, id));
  }
  judge(resolved ? &*resolved : nullptr, toJudge, objects);
  sortObjects(request.order, objects);
  return objects;
}

bool ContextState::isOrderTouched(const FetchRequest& request) const {
  ColumnsByPath columns;
  if (request.order) {
    addColumnsBehind(request.order->path, request.order->column, columns);
  }
  return leadsToTouched(*request.entity, columns).has_value();
}

// Adds the candidates that match, with the unsaved values of the context and its parents.
void ContextState::judge(const ResolvedPredicate* predicate, const Objects& candidates,
                         Objects& objects) {
  for (const ManagedObjectPtr& candidate : candidates) {
    willRead(*candidate);
    if (isLive(*candidate) &&
        (predicate == nullptr || holds(*predicate, ObjectSource(*this, candidate)))) {
      objects.push_back(candidate);
    }
  }
}

// Adds the objects of a fetch from the file that are not changed themselves.
bool ContextState::addRows(const FetchRequest& request, const DirtyRows& dirty,
                           std::uint64_t parents, Objects& objects) {
  return coordinator_->fetch(request, [&](const RowCursor& row) {
    if (!dirty.contains(row.id())) {
      objects.push_back(objectOfRow(*request.entity, row, parents));
    }
  });
}

void ContextState::sortObjects(const std::optional<FetchOrder>& order, Objects& objects) {
  std::vector<std::pair<ManagedValue, ManagedObjectPtr>> keyed;
  keyed.reserve(objects.size());
  for (ManagedObjectPtr& object : objects) {
    ManagedValue key =
        order ? comparableValue(ObjectSource(*this, object).property(order->path, order->column))
              : ManagedValue();
    keyed.emplace_back(std::move(key), std::move(object));
  }
  std::sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) {
    const int values = compareValues(a.first, b.first);
    if (values != 0) {
      return order->ascending ? values < 0 : values > 0;
    }
    return a.second->objectID() < b.second->objectID();
  });
  for (std::size_t i = 0; i < keyed.size(); ++i) {
    objects[i] = std::move(keyed[i].second);
  }
}

std::optional<ContextState::Objects> ContextState::fetch(std::string_view entityName,
                                                         const Predicate* predicate,
                                                         const SortDescriptor* sort,
                                                         bool firstOnly) {
  FetchRequest request;
  request.entity = coordinator_ == nullptr ? nullptr : model().entityNamed(entityName);
  request.predicate = predicate;
  request.firstOnly = firstOnly;
  if (request.entity == nullptr) {
    return std::nullopt;
  }
  try {
    if (sort != nullptr) {
      request.order = resolvedOrder(*sort, model(), *request.entity);
    }
    const std::uint64_t parents = parentChanges();
    return chainHasChanges() ? fetchDirty(request, parents) : fetchClean(request, parents);
  } catch (const PredicateError&) {
    return std::nullopt;
  }
}

}  // namespace kelvora::engine
