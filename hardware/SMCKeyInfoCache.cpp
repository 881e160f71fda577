#include "hardware/SMCKeyInfoCache.h"

#include <cwchar>
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
  const wchar_t* const found = std::wmemchr(keys_.data(), static_cast<wchar_t>(packedKey), count_);
  return found == nullptr ? nullptr : &entries_[static_cast<std::size_t>(found - keys_.data())];
}

void SMCKeyInfoCache::append(const SMCKeyInfo& entry) {
  if (count_ < entries_.size()) {
    keys_[count_] = static_cast<wchar_t>(entry.key);
    entries_[count_] = entry;
    ++count_;
  }
}

}  // namespace kelvora
