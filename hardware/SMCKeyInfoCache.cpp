#include "hardware/SMCKeyInfoCache.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <thread>

namespace kelvora {

namespace {

// The keys of the entries stand beside each other once more: most reads of a machine with hundreds
// of keys search in vain, and so they compare a block of keys at a time.
constexpr std::size_t kBlock = 20;
constexpr std::size_t kBlocks = (SMCKeyInfoCacheAccess::kCapacity + kBlock - 1) / kBlock;

std::array<SMCKeyInfo, SMCKeyInfoCacheAccess::kCapacity> g_keyInfoCache;
alignas(32) std::array<std::array<std::uint32_t, kBlock>, kBlocks> g_keyInfoCacheKeys;
std::int32_t g_keyInfoCacheCount = 0;
std::atomic<std::uint32_t> g_keyInfoSpinLock{0};

bool holds(const std::array<std::uint32_t, kBlock>& block, std::uint32_t packedKey) {
  std::uint32_t found = 0;
  for (const std::uint32_t key : block) {
    found |= key == packedKey ? ~std::uint32_t{0} : 0;
  }
  return found != 0;
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
  const auto count = static_cast<std::size_t>(g_keyInfoCacheCount);
  for (std::size_t begin = 0; begin < count; begin += kBlock) {
    if (!holds(g_keyInfoCacheKeys[begin / kBlock], packedKey)) {
      continue;
    }
    for (std::size_t i = begin; i < count && i < begin + kBlock; ++i) {
      if (g_keyInfoCache[i].key == packedKey) {
        return &g_keyInfoCache[i];
      }
    }
  }
  return nullptr;
}

void SMCKeyInfoCacheAccess::append(const SMCKeyInfo& entry) {
  if (g_keyInfoCacheCount == kCapacity) {
    return;
  }
  const auto index = static_cast<std::size_t>(g_keyInfoCacheCount);
  g_keyInfoCache[index] = entry;
  g_keyInfoCacheKeys[index / kBlock][index % kBlock] = entry.key;
  ++g_keyInfoCacheCount;
}

}  // namespace kelvora
