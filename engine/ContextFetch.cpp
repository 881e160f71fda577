#include <algorithm>
#include <exception>
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

bool ContextState::isDirty(std::size_t entity) const {
  if (parent_ != nullptr && parent_->isDirty(entity)) {
    return true;
  }
  const std::lock_guard lock(mutex_);
  return !pending_[entity].empty();
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

bool ContextState::anyDirty(const std::vector<std::size_t>& entities) const {
  return std::any_of(entities.begin(), entities.end(),
                     [this](std::size_t number) { return isDirty(number); });
}

// The store answers for the rows that nobody here has touched; the others are judged in memory.
std::optional<ContextState::Objects> ContextState::fetchDirty(const FetchRequest& request,
                                                              std::uint64_t parents) {
  std::optional<ResolvedPredicate> resolved;
  if (request.predicate != nullptr) {
    resolved = resolve(*request.predicate, model(), *request.entity);
  }
  const EntityDescription& entity = *request.entity;
  const bool judgesAll = resolved && anyDirty(entitiesOnPaths(*resolved, model(), entity));
  const bool sortsAll =
      request.order && anyDirty(entitiesOnPath(request.order->path, model(), entity));
  const DirtyRows dirty = dirtyRows(entity.number);
  if (dirty.empty() && !judgesAll && !sortsAll) {
    return fetchClean(request, parents);
  }
  FetchRequest stored = request;
  stored.firstOnly = false;
  stored.predicate = judgesAll ? nullptr : request.predicate;
  Objects objects;
  const bool done = coordinator_->fetch(stored, [&](const RowCursor& row) {
    if (!dirty.contains(row.id())) {
      objects.push_back(objectOfRow(*request.entity, row, parents));
    }
  });
  if (!done) {
    return std::nullopt;
  }
  Objects unjudged;
  if (judgesAll) {
    unjudged.swap(objects);
  }
  for (const std::int64_t id : dirty.live()) {
    unjudged.push_back(object(*request.entity, id));
  }
  for (const ManagedObjectPtr& candidate : unjudged) {
    willRead(*candidate);
    if (isLive(*candidate) && (!resolved || holds(*resolved, ObjectSource(*this, candidate)))) {
      objects.push_back(candidate);
    }
  }
  sortObjects(request.order, objects);
  return objects;
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
