#pragma once

#include <string>

namespace kelvora::platform {

/// Starts a program that lives on its own: in a session of its own, with "/" as its folder,
/// standard input and outputs from and to nowhere, default signal settings, and no other descriptor
/// of this process. It is no child of this process, so it need not be waited for. Returns 0 once it
/// runs, or the system's error number. Any thread.
int launchDetached(const std::string& executablePath);

}  // namespace kelvora::platform
