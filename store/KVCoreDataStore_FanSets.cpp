#include <array>
#include <chrono>
#include <cstdio>
#include <string>

#include "KelvoraCore/KVCoreDataStore.h"

#include "store/TypedFetch.h"

namespace kelvora {

namespace {

std::string identifierOf(ManagedDate created) {
  const double seconds = std::chrono::duration<double>(created.time_since_epoch()).count();
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.0f", seconds);
  return text.data();
}

}  // namespace

KVFanSetPtr KVCoreDataStore::createFanSetWithName(std::string_view name,
                                                  const PropertyListValue::Dictionary& value) {
  return createFanSetWithName(name, value, viewContext());
}

KVFanSetPtr KVCoreDataStore::createFanSetWithName(std::string_view name,
                                                  const PropertyListValue::Dictionary& value,
                                                  const ManagedObjectContextPtr& context) {
  KVFanSetPtr made = insertNew<KVFanSet>(context);
  if (made != nullptr) {
    const ManagedDate now = std::chrono::system_clock::now();
    made->setIdentifier(identifierOf(now));
    made->setName(std::string(name));
    made->setValueDict(value);
    made->setCreated(now);
  }
  return made;
}

KVFanSetPtr KVCoreDataStore::getFanSetById(const std::optional<std::string>& identifier) {
  return identifier
             ? fetchFirst<KVFanSet>(viewContext(), Predicate("identifier = %@", {*identifier}))
             : nullptr;
}

KVCoreDataStore::FanSets KVCoreDataStore::allFanSets() {
  return allFanSetsInContext(viewContext());
}

KVCoreDataStore::FanSets KVCoreDataStore::allFanSetsInContext(
    const ManagedObjectContextPtr& context) {
  return fetchAll<KVFanSet>(context, std::nullopt, SortDescriptor{"created", true});
}

}  // namespace kelvora
