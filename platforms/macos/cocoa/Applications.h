#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ports/Workspace.h"

// Applications as AppKit knows them. Any thread.
namespace kelvora::platform::cocoa {

/// Asks NSWorkspace to open the application with a bundle identifier, and does not wait. False if
/// no application has it.
bool launchApplication(const std::string& bundleIdentifier);

/// Asks NSWorkspace to open the application at a path with a default configuration. `completion`,
/// which may be empty, is called later on a thread of the system, with none or with what went
/// wrong.
void openApplication(const std::string& path,
                     std::function<void(std::optional<std::string>)> completion);

/// NSWorkspace's running applications. The list only follows the run loop of the main thread.
std::vector<RunningApplication> runningApplications();

/// The running application whose process has that number, or none. Follows no run loop.
std::optional<RunningApplication> runningApplication(std::int64_t pid);

/// Asks an application to end, or ends it if `force`. False if AppKit knows no such application, or
/// cannot send the request.
bool terminate(const RunningApplication& application, bool force);

}  // namespace kelvora::platform::cocoa
