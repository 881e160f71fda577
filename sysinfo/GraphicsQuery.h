#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "KelvoraCore/ZDGPUInfo.h"

namespace kelvora {

class Platform;

/// The graphics processors of a Mac of a processor family: from the system profiler where it is an
/// Apple-silicon one, else from the PCI devices of the registry.
std::optional<std::vector<ZDGPUInfo>> queryGraphics(Platform& platform, std::uint64_t family);

}  // namespace kelvora
