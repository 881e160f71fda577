#pragma once

#include <cstdint>

#include "KelvoraCore/KVCoreDataStore.h"

namespace kelvora::tool {

/// The stored category of a sensor type, 0 (temperature) to 4 (power), in the view context of the
/// store. A missing one is made and saved while no other program makes one, so that two programs
/// that begin with an empty store have each category once. Main thread only.
KVCategoryPtr storedCategory(KVCoreDataStore& store, std::uint64_t type, Platform& platform);

}  // namespace kelvora::tool
