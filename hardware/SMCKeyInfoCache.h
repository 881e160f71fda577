#pragma once

#include <cstdint>

#include "KelvoraCore/SMC.h"

namespace kelvora {

/// Access to the process's cache of key information: the first 100 keys that were asked for, never
/// evicted. The cache has a spin lock, which an access holds while it lives; whoever fills a gap
/// keeps it over the call to the SMC, so that threads ask one after the other.
class SMCKeyInfoCacheAccess {
 public:
  static constexpr std::int32_t kCapacity = 100;

  SMCKeyInfoCacheAccess();
  ~SMCKeyInfoCacheAccess();
  SMCKeyInfoCacheAccess(const SMCKeyInfoCacheAccess&) = delete;
  SMCKeyInfoCacheAccess& operator=(const SMCKeyInfoCacheAccess&) = delete;

  /// How many entries there are.
  std::int32_t count() const;
  /// The entry of a key, or null. Entries never move.
  const SMCKeyInfo* find(std::uint32_t packedKey) const;
  /// Adds an entry; does nothing when the cache is full.
  void append(const SMCKeyInfo& entry);
};

}  // namespace kelvora
