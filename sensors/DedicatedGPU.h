#pragma once

#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/ZDGPUInfo.h"

namespace kelvora {

/// The dedicated one of exactly two graphics processors, the last if both are dedicated. Null for
/// any other number of processors, or when neither is dedicated. Owned by the list.
const ZDGPUInfo* dedicatedGPU(const std::optional<std::vector<ZDGPUInfo>>& gpus);

/// Fills in the dedicated graphics processor in catalogue entries whose name contains "{GPU}": its
/// short name in the name, its full name in the full name, nothing when there is none. Both texts
/// are trimmed. Other entries do not change.
void fillInGPU(const SensorList& catalogue, const std::optional<std::string>& fullName,
               const std::optional<std::string>& shortName);

}  // namespace kelvora
