#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// A property list that was read, or why it could not be.
struct PropertyListReading {
  std::optional<PropertyListValue> value;
  std::string failure;  ///< e.g. "not a property list"; empty when there is a value
};

enum class PropertyListFormat : std::uint8_t { kBinary, kXML };

/// Reads a binary or an XML property list; which of the two is told by the bytes. Refuses what is
/// neither, what is cut short, what nests deeper than 100 levels, and archive references (UIDs),
/// which only a keyed archive holds. Never throws on foreign bytes. Any thread.
PropertyListReading parsePropertyList(std::span<const std::byte> bytes);

/// The same for a file; a failure also names what the system said, e.g. "No such file or
/// directory".
PropertyListReading readPropertyListFile(const std::string& path);

/// The bytes of a property list. Text that is not UTF-8 is written with U+FFFD in its place; a text
/// ends at its first NUL. Instants keep microseconds, from 1933 to 2069.
std::vector<std::byte> serializePropertyList(const PropertyListValue& value,
                                             PropertyListFormat format);

}  // namespace kelvora
