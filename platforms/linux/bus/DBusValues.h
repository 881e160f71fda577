#pragma once

#include <optional>

#include <sdbus-c++/Types.h>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::platform {

/// A property-list value as a D-Bus variant: boolean b, whole number x, real d, text s, data ay,
/// instant (x) as microseconds since 1970, array av, dictionary a{sv}.
sdbus::Variant variantOf(const PropertyListValue& value);

/// The way back; also takes the other D-Bus numbers, object paths and signatures. None for what no
/// property list can hold, e.g. a file descriptor; such an entry of a container is left out. An
/// instant beyond the clock's range gives the nearest.
std::optional<PropertyListValue> valueOf(const sdbus::Variant& variant);

using VariantDictionary = std::map<std::string, sdbus::Variant>;

VariantDictionary variantsOf(const PropertyListValue::Dictionary& values);
PropertyListValue::Dictionary valuesOf(const VariantDictionary& variants);

}  // namespace kelvora::platform
