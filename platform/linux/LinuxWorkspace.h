#pragma once

#include "platform/Workspace.h"

namespace kelvora::platform {

/// A workspace without applications: Linux programs have no bundle identifiers. Nothing can be
/// launched, opened or ended; a completion is called before `openApplication` returns.
class LinuxWorkspace : public Workspace {
 public:
  bool launchApplication(std::string_view) override { return false; }
  void openApplication(std::string_view,
                       std::function<void(std::optional<std::string>)> completion) override {
    if (completion) completion("applications cannot be opened on this system");
  }
  std::vector<RunningApplication> runningApplications() override { return {}; }
  bool terminate(const RunningApplication&, bool) override { return false; }
};

}  // namespace kelvora::platform
