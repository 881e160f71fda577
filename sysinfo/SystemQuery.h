#pragma once

#include "KelvoraCore/ZDMemoryInfo.h"
#include "KelvoraCore/ZDOSInfo.h"

namespace kelvora {

namespace platform {
class SystemControls;
class SystemFacts;
}  // namespace platform

/// The running system's version and build.
ZDOSInfo queryOS(platform::SystemFacts& facts);

/// The installed memory, formatted for display; "Zero KB" when the system does not tell.
ZDMemoryInfo queryMemory(platform::SystemControls& controls);

}  // namespace kelvora
