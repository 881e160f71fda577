#pragma once

#include <string>

#include "KelvoraCore/KVCoreDataStore.h"

namespace kelvora::tool {

/// Makes one category of those that have the same name, which programs leave that create it at the
/// same time: the first by creation keeps the sensors of all. Saves that at once; does nothing when
/// it cannot be saved, or while something else is unsaved in the store's view context. Only on the
/// main thread.
void joinCategories(KVCoreDataStore& store, const std::string& name);

}  // namespace kelvora::tool
