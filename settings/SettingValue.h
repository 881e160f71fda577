#pragma once

#include <optional>

#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/PropertyListValue.h"

namespace kelvora {

/// The value as a setting of a type holds it, e.g. 1 as a boolean gives true; none when it is of
/// another type. Texts are never taken for numbers.
std::optional<PropertyListValue> asSettingType(KVSettingType type, const PropertyListValue& value);

}  // namespace kelvora
