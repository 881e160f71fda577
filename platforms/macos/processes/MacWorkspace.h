#pragma once

#include "ports/Workspace.h"

namespace kelvora::platform {

/// AppKit's workspace and running applications.
class MacWorkspace : public Workspace {
 public:
  /// The system launches later: a launch that fails then is not reported.
  bool launchApplication(std::string_view bundleIdentifier) override;
  void openApplication(std::string_view path,
                       std::function<void(std::optional<std::string>)> completion) override;
  /// AppKit's list follows the run loop of the main thread: applications that start while it does
  /// not run are missing. Those that ended meanwhile are not listed.
  std::vector<RunningApplication> runningApplications() override;
  /// Current also while no run loop runs.
  std::optional<RunningApplication> runningApplication(std::int64_t pid) override;
  bool terminate(const RunningApplication& application, bool force) override;
};

}  // namespace kelvora::platform
