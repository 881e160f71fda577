#include "hardware/SMCKeyInfoCache.h"

#include <algorithm>
#include <thread>

namespace kelvora {

void SMCKeyInfoCache::lock() {
  while (isLocked_.exchange(true, std::memory_order_acquire)) {
    while (isLocked_.load(std::memory_order_relaxed)) {
      std::this_thread::yield();
    }
  }
}

void SMCKeyInfoCache::unlock() { isLocked_.store(false, std::memory_order_release); }

const SMCKeyInfo* SMCKeyInfoCache::find(std::uint32_t packedKey) const {
  const SMCKeyInfo* const end = entries_.data() + count_;
  const SMCKeyInfo* const found =
      std::find_if(entries_.data(), end,
                   [packedKey](const SMCKeyInfo& entry) { return entry.key == packedKey; });
  return found == end ? nullptr : found;
}

void SMCKeyInfoCache::append(const SMCKeyInfo& entry) {
  if (count_ < entries_.size()) {
    entries_[count_++] = entry;
  }
}

}  // namespace kelvora
