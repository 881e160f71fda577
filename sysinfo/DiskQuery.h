#pragma once

#include <optional>

#include "KelvoraCore/ZDDiskInfo.h"

namespace kelvora {

namespace platform {
class SystemFacts;
}

/// The disk of the root volume; none if it is removable or cannot be described. Logged only when
/// the system lists no volume at all.
std::optional<ZDDiskInfo> queryDisk(platform::SystemFacts& facts);

}  // namespace kelvora
