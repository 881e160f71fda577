#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/ArchiveValue.h"

// Keyed archives in the layout of the system's own archiver: a binary property list that any
// property-list tool reads. docs/archives.md describes the layout.
namespace kelvora {

/// The bytes of an archive whose root is `root`. What is not UTF-8 in a text is written as U+FFFD;
/// a text ends at its first NUL. Any thread.
std::vector<std::byte> keyedArchive(const ArchiveValue& root);

/// The root of an archive that this library or the system's archiver wrote; the property list may
/// be binary or XML. Returns none, and logs nothing, for anything else: bytes that are no archive,
/// a class that is not in `allowedClasses`, a reference that leads nowhere or back to itself, more
/// than 100 levels, and a tree of more than 4 MB in memory and 16 times the bytes, as small
/// archives can describe by naming one large object many times. Never throws on foreign bytes. Any
/// thread.
///
/// `allowedClasses` has the immutable names, e.g. {"NSArray", "NSString", "KVNotification"}; they
/// allow the mutable classes too. "NSString", "NSNumber" (booleans too), "NSDate" and "NSData"
/// are the plain values, "NSArray" and "NSDictionary" the containers; any other class gives an
/// object with its named fields. A dictionary has texts as keys. Dates are read to the microsecond;
/// those that no std::chrono::system_clock instant can express give the nearest.
std::optional<ArchiveValue> readKeyedArchive(std::span<const std::byte> bytes,
                                             const std::vector<std::string>& allowedClasses);

}  // namespace kelvora
