#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::tool {

// The speeds that this program stores in a fan set: from a fan's key ("F0" to "F9", "FA" to "FJ")
// to its revolutions per minute. The library stores them without a look.

/// The SMC can name as many fans.
inline constexpr std::uint64_t kMostFans = 20;
/// No fan turns faster, in revolutions per minute.
inline constexpr double kMostSetSpeed = 100'000;

/// The speeds that a person wrote as "F0=1200". Refuses another form, a speed that is no number
/// above 0 and up to 100000, a fan that is named twice, and no speed at all.
PropertyListValue::Dictionary parsedSpeeds(const std::vector<std::string>& words);

/// The key of a fan in a fan set, e.g. "FA" for 10, and back; none for a key that is no fan's.
std::string fanSetKey(std::uint64_t fan);
std::optional<std::uint64_t> fanOfSetKey(std::string_view key);

/// E.g. "F0=1200 F1=1500.5"; the values of another program as JSON.
std::string speedsText(const PropertyListValue::Dictionary& speeds);

}  // namespace kelvora::tool
