#pragma once

#include <string_view>

namespace kelvora::tool {

/// Whether the store or the current machine has a sensor with this key, e.g. "TC0P". True for every
/// key where neither has a sensor, for then none is known. Opens a store that exists, reads the
/// machine once, and creates nothing.
bool isKnownSensor(std::string_view key);

}  // namespace kelvora::tool
