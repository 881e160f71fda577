#pragma once

#include <string>

#include "ports/ChildProcesses.h"

namespace kelvora {

/// The bytes that a child writes to its captured standard output. Blocks until it has closed it.
std::string readToEnd(platform::ChildProcess& child);

}  // namespace kelvora
