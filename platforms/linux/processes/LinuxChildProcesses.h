#pragma once

#include "platforms/posix/PosixChildProcesses.h"

namespace kelvora::platform {

/// Starts programs with posix_spawn, as they are asked for but for one: the list of processes by
/// processor use, "/bin/ps" with "-Aceo pid,pcpu,comm" and "-r". The letters "c", "e" and "r" mean
/// something else to Linux's ps, which is asked for the same columns and order by its own options.
class LinuxChildProcesses : public PosixChildProcesses {
 public:
  ChildLaunch launch(const ChildRequest& request) override;
};

}  // namespace kelvora::platform
