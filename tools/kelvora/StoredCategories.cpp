#include "tools/kelvora/StoredCategories.h"

#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace kelvora::tool {

namespace {

std::vector<KVSensorPtr> sensorsWithoutCategory(const ManagedObjectContextPtr& context) {
  std::vector<KVSensorPtr> sensors;
  const auto objects = context->objectsOf(KVSensor::kEntityName, Predicate("category = nil"));
  for (const ManagedObjectPtr& object : objects.value_or(ManagedObjectContext::Objects())) {
    sensors.push_back(std::static_pointer_cast<KVSensor>(object));
  }
  return sensors;
}

std::set<std::int64_t> identitiesOf(const std::vector<KVSensorPtr>& sensors) {
  std::set<std::int64_t> ids;
  for (const KVSensorPtr& sensor : sensors) {
    ids.insert(sensor->objectID());
  }
  return ids;
}

// Returns whether that was saved.
bool moveInto(const KVCategoryPtr& kept, const ManagedObjectContext::Objects& categories) {
  const ManagedObjectContextPtr context = kept->managedObjectContext();
  for (const ManagedObjectPtr& object : categories) {
    if (object == kept) {
      continue;
    }
    for (const KVSensorPtr& sensor : std::static_pointer_cast<KVCategory>(object)->sensors()) {
      sensor->setCategory(kept);
    }
    context->deleteObject(object);
  }
  if (context->save()) {
    context->rollback();
    return false;
  }
  return true;
}

}  // namespace

void joinCategories(KVCoreDataStore& store, const std::string& name) {
  const ManagedObjectContextPtr context = store.viewContext();
  const Predicate isNamed("name = %@", {name});
  const auto categories = context->objectsOf(KVCategory::kEntityName, isNamed);
  if (!categories || categories->size() < 2 || context->hasChanges()) {
    return;
  }
  const std::set<std::int64_t> before = identitiesOf(sensorsWithoutCategory(context));
  if (!moveInto(std::static_pointer_cast<KVCategory>(categories->front()), *categories)) {
    return;
  }
  // What another program added meanwhile to one that went, or joined at the same time.
  const KVCategoryPtr now = store.categoryWhere(isNamed);
  for (const KVSensorPtr& sensor : sensorsWithoutCategory(context)) {
    if (!before.contains(sensor->objectID())) {
      sensor->setCategory(now);
    }
  }
  context->save();  // what fails stays unsaved for the next save
}

}  // namespace kelvora::tool
