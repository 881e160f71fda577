#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ports/ChildProcesses.h"

namespace kelvora::platform {

/// The child processes of a recorded Mac that other programs of the product share: the product's
/// own programs are started on this computer, everything else is what was recorded.
class OwnPrograms : public ChildProcesses {
 public:
  /// `paths` are the own programs, `host` starts them, `recorded` answers every other launch.
  OwnPrograms(std::vector<std::string> paths, std::unique_ptr<ChildProcesses> host,
              std::unique_ptr<ChildProcesses> recorded);
  ChildLaunch launch(const ChildRequest& request) override;

 private:
  std::vector<std::string> paths_;
  std::unique_ptr<ChildProcesses> host_;
  std::unique_ptr<ChildProcesses> recorded_;
};

}  // namespace kelvora::platform
