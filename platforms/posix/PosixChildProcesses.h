#pragma once

#include "ports/ChildProcesses.h"

namespace kelvora::platform {

/// Starts programs with posix_spawn. A child starts with an empty signal mask, and with SIGPIPE and
/// SIGCHLD as the system has them, whatever this process has set; the quality-of-service class
/// counts where a system has such classes for children.
class PosixChildProcesses : public ChildProcesses {
 public:
  ChildLaunch launch(const ChildRequest& request) override;
};

}  // namespace kelvora::platform
