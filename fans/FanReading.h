#pragma once

#include "sensors/FanWrites.h"

namespace kelvora {

class Platform;

/// Whether a key reads as what a write would make it, so that the write need not succeed. False
/// also when the key cannot be read. Over a connection of its own, any thread.
bool readsAs(Platform& platform, const FanWrite& write);

}  // namespace kelvora
