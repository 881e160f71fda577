#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "KelvoraCore/CPUCoreInfo.h"
#include "KelvoraCore/ZDCPUInfo.h"

namespace kelvora {

namespace platform {
class IORegistry;
class SystemControls;
}  // namespace platform

/// The processor by the system controls; `cores` is what `queryCores` answered.
ZDCPUInfo queryProcessor(platform::SystemControls& controls,
                         const std::optional<CPUCoresInfo>& cores);

/// The cores by the nodes of the device tree; none when the registry does not answer.
std::optional<CPUCoresInfo> queryCores(platform::IORegistry& registry);

/// The processor family of a brand, as one SensorPlatform bit: "Apple M1 Pro" gives 4; 0 when the
/// brand names none.
std::uint64_t processorFamily(std::string_view brand);

}  // namespace kelvora
