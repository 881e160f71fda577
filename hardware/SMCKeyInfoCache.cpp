#include "hardware/SMCKeyInfoCache.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <thread>

namespace kelvora {

namespace {

// An entry's place is looked up by its key: most reads of a machine with hundreds of keys search in
// vain, and a walk over a hundred entries would cost them more than all else here. A slot holds an
// entry's number counted from 1, or 0; at most two of five are in use.
constexpr std::size_t kSlots = 256;
static_assert(std::size_t{SMCKeyInfoCacheAccess::kCapacity} * 5 <= kSlots * 2);
// Knuth's multiplier, the golden ratio of 2^32: spreads neighbouring keys over the slots.
constexpr std::uint32_t kSpread = 0x9e3779b9;

std::array<SMCKeyInfo, SMCKeyInfoCacheAccess::kCapacity> g_keyInfoCache;
std::array<std::uint8_t, kSlots> g_keyInfoCacheSlots;
std::int32_t g_keyInfoCacheCount = 0;
std::atomic<std::uint32_t> g_keyInfoSpinLock{0};

// Where the key is, or the free slot where it would be.
std::size_t slotOf(std::uint32_t packedKey) {
  std::size_t slot = (packedKey * kSpread) >> (32 - std::countr_zero(kSlots));
  while (g_keyInfoCacheSlots[slot] != 0 &&
         g_keyInfoCache[g_keyInfoCacheSlots[slot] - 1U].key != packedKey) {
    slot = (slot + 1) % kSlots;
  }
  return slot;
}

}  // namespace

SMCKeyInfoCacheAccess::SMCKeyInfoCacheAccess() {
  while (g_keyInfoSpinLock.exchange(1, std::memory_order_acquire) != 0) {
    while (g_keyInfoSpinLock.load(std::memory_order_relaxed) != 0) {
      std::this_thread::yield();
    }
  }
}

SMCKeyInfoCacheAccess::~SMCKeyInfoCacheAccess() {
  g_keyInfoSpinLock.store(0, std::memory_order_release);
}

std::int32_t SMCKeyInfoCacheAccess::count() const { return g_keyInfoCacheCount; }

const SMCKeyInfo* SMCKeyInfoCacheAccess::find(std::uint32_t packedKey) const {
  const std::uint8_t number = g_keyInfoCacheSlots[slotOf(packedKey)];
  return number == 0 ? nullptr : &g_keyInfoCache[number - 1U];
}

void SMCKeyInfoCacheAccess::append(const SMCKeyInfo& entry) {
  if (g_keyInfoCacheCount == kCapacity) {
    return;
  }
  g_keyInfoCache[static_cast<std::size_t>(g_keyInfoCacheCount)] = entry;
  g_keyInfoCacheSlots[slotOf(entry.key)] = static_cast<std::uint8_t>(++g_keyInfoCacheCount);
}

}  // namespace kelvora
