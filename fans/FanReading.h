#pragma once

#include <string>

#include "sensors/FanWrites.h"

namespace kelvora {

class Platform;

/// Whether a key can be read at all. Over a connection of its own, any thread.
bool isReadable(Platform& platform, const std::string& key);

/// Whether a key reads as what a write would make it, so that the write need not succeed. False
/// also when the key cannot be read. Likewise.
bool readsAs(Platform& platform, const FanWrite& write);

}  // namespace kelvora
