#pragma once

#include <string>

#include <sys/types.h>

namespace kelvora::platform {

/// Absolute path of the executable that a process runs, e.g. "/usr/bin/kelvora", also of one that
/// was removed or replaced meanwhile; empty without such a process, and where this account may not
/// look. Each system has a source of its own. Any thread.
std::string executableOf(pid_t process);

}  // namespace kelvora::platform
