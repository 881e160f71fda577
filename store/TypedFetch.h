#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "KelvoraCore/ManagedObjectContext.h"

namespace kelvora {

/// The objects of a fetch as objects of their class. Leaves out objects of another class, which a
/// foreign model may name for the entity.
template <typename T>
std::vector<std::shared_ptr<T>> typedObjects(const std::vector<ManagedObjectPtr>& objects) {
  std::vector<std::shared_ptr<T>> typed;
  typed.reserve(objects.size());
  for (const ManagedObjectPtr& object : objects) {
    if (auto one = std::dynamic_pointer_cast<T>(object)) {
      typed.push_back(std::move(one));
    }
  }
  return typed;
}

template <typename T>
std::optional<std::vector<std::shared_ptr<T>>> fetchAll(
    const ManagedObjectContextPtr& context, const std::optional<Predicate>& predicate = {},
    const std::optional<SortDescriptor>& sort = {}) {
  const auto objects =
      context == nullptr ? std::nullopt : context->objectsOf(T::kEntityName, predicate, sort);
  return objects ? std::optional(typedObjects<T>(*objects)) : std::nullopt;
}

template <typename T>
std::shared_ptr<T> fetchFirst(const ManagedObjectContextPtr& context, const Predicate& predicate) {
  return context == nullptr
             ? nullptr
             : std::dynamic_pointer_cast<T>(context->objectOf(T::kEntityName, predicate));
}

template <typename T>
std::shared_ptr<T> insertNew(const ManagedObjectContextPtr& context) {
  return context == nullptr
             ? nullptr
             : std::dynamic_pointer_cast<T>(context->insertNewObject(T::kEntityName));
}

}  // namespace kelvora
