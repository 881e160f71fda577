#pragma once

#include "ports/ChildProcesses.h"

namespace kelvora::platform {

/// Starts programs with posix_spawn. A child starts with an empty signal mask, and with SIGPIPE and
/// SIGCHLD as the system has them, whatever this process has set. The quality-of-service class is
/// not applied: only macOS has them, and for children it takes only those below the default.
class PosixChildProcesses : public ChildProcesses {
 public:
  ChildLaunch launch(const ChildRequest& request) override;
};

}  // namespace kelvora::platform
