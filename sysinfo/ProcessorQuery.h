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

/// The processor by the system controls and the device tree.
ZDCPUInfo queryProcessor(platform::SystemControls& controls, platform::IORegistry& registry);

/// The processor family alone, for a reading: asks for the brand and nothing else.
std::uint64_t queryProcessorFamily(platform::SystemControls& controls);

/// The cores by the nodes of the device tree; none if the registry query fails.
std::optional<CPUCoresInfo> queryCores(platform::IORegistry& registry);

/// The processor family of a brand, as one SensorPlatform bit: "Apple M1 Pro" gives 4; 0 if the
/// brand names no family.
std::uint64_t processorFamily(std::string_view brand);

}  // namespace kelvora
