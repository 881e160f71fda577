#include "tools/kelvora/StoredCategories.h"

#include <array>
#include <optional>

#include "KelvoraCore/KVProcessLock.h"

namespace kelvora::tool {

namespace {

// By SensorType.
constexpr std::array<const char*, 5> kNames{"Temperature", "Fan", "Voltage", "Current", "Power"};

// Another program has the lock for the time of one save.
constexpr int kMostAttempts = 25;

void wait(std::optional<KVProcessLock>& lock, Platform& platform) {
  for (int i = 0; i < kMostAttempts; ++i) {
    lock.emplace("Categories", platform);
    if (lock->state() != KVProcessLock::State::kHeldElsewhere) {
      return;
    }
  }
}

}  // namespace

KVCategoryPtr storedCategory(KVCoreDataStore& store, std::uint64_t type, Platform& platform) {
  const char* name = kNames.at(type);
  if (KVCategoryPtr category = store.getCategoryWithName(name)) {
    category->setType(static_cast<std::int16_t>(type));
    return category;
  }
  std::optional<KVProcessLock> lock;
  wait(lock, platform);
  KVCategoryPtr category = store.createOrUpdateCategoryWithName(name, store.viewContext());
  if (category != nullptr) {
    category->setType(static_cast<std::int16_t>(type));
    // A category that could not be saved waits for the next save, with everything else.
    store.viewContext()->save();
  }
  return category;
}

}  // namespace kelvora::tool
