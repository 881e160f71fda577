#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/PropertyListValue.h"

#include "platforms/macos/CFOwned.h"

// Values of the library and objects of Core Foundation, in both directions. Any thread.
namespace kelvora::platform {

/// The text as UTF-8, also beyond an embedded NUL. A surrogate without its partner becomes U+FFFD.
std::string textOf(CFStringRef text);
/// A text object of UTF-8; U+FFFD replaces what is not UTF-8. Null if memory is short.
CFOwned<CFStringRef> makeText(std::string_view text);

/// The object as a text or a dictionary; null if it is null or of another kind. It keeps its owner.
CFStringRef asText(CFTypeRef object);
CFDictionaryRef asDictionary(CFTypeRef object);

/// The value of an object; none if it is null or of no kind that property lists hold (a UUID, an
/// address). Arrays and dictionaries leave out such items, keys that are no texts, and what nests
/// deeper than 100 levels. A whole number beyond the signed 64 bits gives its low 64 bits, as
/// property lists do. Instants are exact to the microsecond.
std::optional<PropertyListValue> valueOf(CFTypeRef object);
/// The value of a dictionary; empty for null.
PropertyListValue::Dictionary dictionaryOf(CFDictionaryRef dictionary);

/// An object of a value: truth values are CFBoolean, numbers CFNumber of 64 bits. What nests deeper
/// than 100 levels is left out. Null if memory is short.
CFOwned<CFPropertyListRef> makeObject(const PropertyListValue& value);

}  // namespace kelvora::platform
