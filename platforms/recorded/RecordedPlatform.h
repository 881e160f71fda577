#pragma once

#include <memory>

#include "platforms/recorded/RecordedMachine.h"
#include "ports/Ports.h"

namespace kelvora::platform {

/// A platform over a recorded Mac; what a machine file does not describe (files, main
/// bundle, settings, notifications, main queue) is `host`'s, or a new live platform's when `host`
/// is null. Rights are always refused. SMC writes go into the recording's own memory.
std::unique_ptr<Platform> makeRecordedPlatform(RecordedMachine machine,
                                               std::unique_ptr<Platform> host = nullptr);

}  // namespace kelvora::platform
