#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/PropertyListValue.h"

#include "tools/kelvora/Report.h"

namespace kelvora::tool {

/// A value as JSON; data becomes {"bytes": its size}, a date its seconds since 1970.
Json jsonValue(const PropertyListValue& value);

/// A value for a person: "true", "2", a text as it is, lists as JSON, "1234 bytes"; "none" where
/// there is no value. Without control characters.
std::string settingText(const std::optional<PropertyListValue>& value);

/// What a setting may be set to, e.g. "true or false", "0, 1 or 2", "a whole number".
std::string allowedValues(const KVSetting& setting);

/// The value of a setting that a person wrote as `text`; none when the setting does not allow it.
std::optional<PropertyListValue> parsedSetting(const KVSetting& setting, std::string_view text);

}  // namespace kelvora::tool
