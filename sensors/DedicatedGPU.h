#pragma once

#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/ZDGPUInfo.h"

namespace kelvora {

/// The dedicated one of exactly two graphics processors; of two dedicated ones the last. Null for
/// any other number, or when neither is dedicated. Owned by the list.
const ZDGPUInfo* dedicatedGPU(const std::optional<std::vector<ZDGPUInfo>>& gpus);

/// Puts the dedicated graphics processor into the names of catalogue entries that hold "{GPU}": the
/// short name into the name, the full name into the full name, none as nothing; both are trimmed.
/// An entry whose name has no "{GPU}" stays as it is.
void fillInGPU(const SensorList& catalogue, const std::optional<std::string>& fullName,
               const std::optional<std::string>& shortName);

}  // namespace kelvora
