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

/// The deepest level of a property list that is read; its outermost value is at level 0.
inline constexpr int kDeepestPropertyListLevel = 100;

/// Reads a binary or an XML property list; the bytes show which of the two. Refuses what is
/// neither, what is cut short, what nests deeper than `kDeepestPropertyListLevel`, and archive
/// references (UIDs), which only a keyed archive holds. Never throws on foreign bytes. Any thread.
PropertyListReading parsePropertyList(std::span<const std::byte> bytes);

/// The largest property-list file that is read, in bytes.
inline constexpr std::size_t kMostPropertyListBytes = std::size_t{16} << 20;

/// The same for a file of up to `mostBytes`; a failure also names what the system said, e.g. "No
/// such file or directory". Refuses anything but a regular file, e.g. a named pipe, and never
/// blocks.
PropertyListReading readPropertyListFile(const std::string& path,
                                         std::size_t mostBytes = kMostPropertyListBytes);

/// Returns the bytes of a property list. What is not UTF-8 in a text is written as U+FFFD; a text
/// ends at its first NUL. Instants keep microseconds, from 1933 to 2069.
std::vector<std::byte> serializePropertyList(const PropertyListValue& value,
                                             PropertyListFormat format);

/// Returns a binary property list of a dictionary with one entry set, or removed with none. All
/// other entries stay as they are in `dictionary`, also what no PropertyListValue expresses:
/// 2^64-1, or the year 1800. `dictionary` is a list of a dictionary that `parsePropertyList` reads,
/// or no bytes.
std::vector<std::byte> propertyListWith(std::span<const std::byte> dictionary,
                                        const std::string& key,
                                        const std::optional<PropertyListValue>& value);

}  // namespace kelvora
