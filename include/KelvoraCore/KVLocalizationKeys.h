#pragma once

#include <span>
#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Every key that the library itself looks up; each "Localizable.strings" of a host has a text for
/// each. Keys that end in "-%@" are formats with the sensor's name as their one argument; those
/// that end in "-value" take one whole number, "%d". Valid for the process's life. Any thread.
KELVORA_EXPORT std::span<const std::string_view> localizationKeys();

}  // namespace kelvora
