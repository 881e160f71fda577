#pragma once

#include <span>
#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Every key that the library looks up by itself: what each "Localizable.strings" of a host holds.
/// Keys that end in "-%@" are formats with the sensor's name as their one argument; those that end
/// in "-value" with one whole number, "%d".
KELVORA_EXPORT std::span<const std::string_view> localizationKeys();

}  // namespace kelvora
