#pragma once

#include <cstdint>

#include "KelvoraCore/ZDBatteryInfo.h"

namespace kelvora {

namespace platform {
class IORegistry;
}

/// The wear of the first battery of a Mac of a processor family; all 0 without a battery.
ZDBatteryInfo queryBattery(platform::IORegistry& registry, std::uint64_t family);

}  // namespace kelvora
