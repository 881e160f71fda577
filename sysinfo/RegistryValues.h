#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

namespace platform {
class RegistryEntry;
}

/// A registry entry's name, e.g. "cpu0", or none.
std::optional<std::string> getIOName(const platform::RegistryEntry& entry);

/// A registry entry's whole property dictionary, or none.
std::optional<PropertyListValue::Dictionary> getIOProperties(const platform::RegistryEntry& entry);

/// The bytes of a data property, or null when it is absent or of another kind.
const PropertyListValue::Data* dataProperty(const PropertyListValue::Dictionary& properties,
                                            const std::string& key);

/// The bytes before the first NUL: the firmware's texts carry their terminator.
std::string textOfData(const PropertyListValue::Data& data);

/// The first four bytes as a little-endian number; 0 when there are fewer.
std::int32_t int32OfData(const PropertyListValue::Data& data);

}  // namespace kelvora
