#pragma once

#include <cstdint>
#include <optional>

#include "platforms/linux/processes/ApplicationBundle.h"

namespace kelvora::platform {

/// The application that a process of this user runs: its executable is the process's program, a
/// link to the process's program, or a script that the process's program interprets. An application
/// that is replaced on disk while it runs still counts. None for any other process, for those of
/// other users, for kernel threads and for a process that has ended.
std::optional<ApplicationBundle> applicationOfProcess(std::int64_t pid);

}  // namespace kelvora::platform
