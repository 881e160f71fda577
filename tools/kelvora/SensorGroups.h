#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KelvoraCore/KVLocalized.h"

namespace kelvora::tool {

/// The heading of a sensor group in the user's language, e.g. "Memory"; that of unknown sensors for
/// a number that is no SensorGroup.
std::string groupHeading(std::uint64_t group, const KVLocalized::Texts& texts);

/// The word for a group on a command line, e.g. "memory"; "unknown" as above.
std::string groupName(std::uint64_t group);

/// All of these words.
std::vector<std::string> groupNames();

}  // namespace kelvora::tool
