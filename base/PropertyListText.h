#pragma once

#include <cstddef>
#include <span>

namespace kelvora {

/// Whether some text of a property list holds a NUL, in a binary list by its object table, in an
/// XML list as a byte or as a character reference ("&#0;"). libplist ends the process over such a
/// dictionary key, so these lists are refused before it sees them. A table that points outside
/// the bytes counts as none: libplist refuses it itself.
bool propertyListTextHoldsNul(std::span<const std::byte> bytes);

}  // namespace kelvora
