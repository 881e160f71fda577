#pragma once

#include <optional>

#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// The value converted to the type of a setting, e.g. true for 1 as a boolean; none when it is of
/// another type. A text never counts as a number.
std::optional<PropertyListValue> asSettingType(KVSettingType type, const PropertyListValue& value);

/// Whether a suite returns the value as it was stored: each text and key in it is UTF-8 without a
/// NUL.
bool isStoredAsItIs(const PropertyListValue& value);

}  // namespace kelvora
