#include <algorithm>
#include <string>

#include "KelvoraCore/KVCoreDataStore.h"

#include "store/TypedFetch.h"

namespace kelvora {

namespace {

Predicate isNamed(std::string_view name) { return Predicate("name = %@", {name}); }

}  // namespace

KVCategoryPtr KVCoreDataStore::createOrUpdateCategoryWithName(
    std::string_view name, const ManagedObjectContextPtr& context) {
  if (KVCategoryPtr known = categoryWhere(isNamed(name), context)) {
    return known;
  }
  KVCategoryPtr made = insertNew<KVCategory>(context);
  if (made != nullptr) {
    made->setName(std::string(name));
  }
  return made;
}

KVCategoryPtr KVCoreDataStore::getCategoryWithName(std::string_view name) {
  return categoryWhere(isNamed(name));
}

KVCategoryPtr KVCoreDataStore::getCategoryWithType(std::int64_t type) {
  return categoryWhere(Predicate("type = %d", {type}));
}

KVCategoryPtr KVCoreDataStore::categoryWhere(const Predicate& predicate) {
  return categoryWhere(predicate, viewContext());
}

KVCategoryPtr KVCoreDataStore::categoryWhere(const Predicate& predicate,
                                             const ManagedObjectContextPtr& context) {
  return fetchFirst<KVCategory>(context, predicate);
}

KVCoreDataStore::Categories KVCoreDataStore::allCategories() {
  return fetchAll<KVCategory>(viewContext(), std::nullopt, SortDescriptor{"type", true});
}

KVCoreDataStore::Categories KVCoreDataStore::allValidCategories() {
  Categories categories = allCategories();
  if (categories) {
    std::erase_if(*categories, [](const auto& category) { return category->sensors().empty(); });
  }
  return categories;
}

}  // namespace kelvora
