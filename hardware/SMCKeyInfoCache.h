#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "KelvoraCore/SMCRecords.h"

namespace kelvora {

/// The information of the first 100 keys that were asked for, never evicted. It is its own spin
/// lock: hold it (std::lock_guard) during `find`, `append` and the call to the SMC between them, so
/// that threads that miss at once ask the SMC one after the other.
class SMCKeyInfoCache {
 public:
  void lock();
  void unlock();

  /// The entry of a key, or null. Entries never move.
  const SMCKeyInfo* find(std::uint32_t packedKey) const;
  /// Adds an entry; does nothing when the cache is full.
  void append(const SMCKeyInfo& entry);

 private:
  static constexpr std::size_t kMostEntries = 100;

  // The keys of entries_, as the type whose search in the C library compares several at once.
  std::array<wchar_t, kMostEntries> keys_;
  static_assert(sizeof(wchar_t) == sizeof(std::uint32_t));
  std::array<SMCKeyInfo, kMostEntries> entries_;
  std::size_t count_ = 0;
  std::atomic<bool> isLocked_ = false;
};

}  // namespace kelvora
