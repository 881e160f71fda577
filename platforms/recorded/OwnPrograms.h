#pragma once

#include <memory>

#include "ports/ChildProcesses.h"

namespace kelvora::platform {

/// The child processes of a recorded Mac that other programs of the product share: the product's
/// own programs (`ChildRequest::isOwnProgram`) are started on this computer, everything else is
/// what was recorded.
class OwnPrograms : public ChildProcesses {
 public:
  /// `host` starts the own programs, `recorded` answers every other launch.
  OwnPrograms(std::unique_ptr<ChildProcesses> host, std::unique_ptr<ChildProcesses> recorded);
  ChildLaunch launch(const ChildRequest& request) override;

 private:
  std::unique_ptr<ChildProcesses> host_;
  std::unique_ptr<ChildProcesses> recorded_;
};

}  // namespace kelvora::platform
