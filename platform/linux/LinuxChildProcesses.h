#pragma once

#include "platform/ChildProcesses.h"

namespace kelvora::platform {

/// Starts programs with posix_spawn. A child gets the default signal dispositions and an empty
/// signal mask; the quality-of-service class has no meaning here and is not applied.
class LinuxChildProcesses : public ChildProcesses {
 public:
  ChildLaunch launch(const ChildRequest& request) override;
};

}  // namespace kelvora::platform
