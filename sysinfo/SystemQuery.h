#pragma once

#include "KelvoraCore/ZDMemoryInfo.h"
#include "KelvoraCore/ZDOSInfo.h"

namespace kelvora {

namespace platform {
class SystemControls;
class SystemFacts;
}  // namespace platform

/// The running system's name, version and build.
ZDOSInfo queryOS(platform::SystemControls& controls, platform::SystemFacts& facts);

/// The installed memory, formatted for display; "Zero KB" if the system does not report it.
ZDMemoryInfo queryMemory(platform::SystemControls& controls);

}  // namespace kelvora
