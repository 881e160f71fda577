#pragma once

#include <memory>

#include "platforms/recorded/RecordedMachine.h"
#include "ports/Ports.h"

namespace kelvora::platform {

/// A platform that answers from a recorded Mac; what a machine file does not describe (files, main
/// bundle, settings, notifications, main queue) is the live system's. Rights are always refused.
/// SMC writes go into the recording's own memory.
std::unique_ptr<Platform> makeRecordedPlatform(RecordedMachine machine);

}  // namespace kelvora::platform
