#pragma once

#include <memory>
#include <string>

#include "ports/Authorization.h"
#include "ports/ChildProcesses.h"

namespace kelvora::platform {

/// Rights of an administrator: root has them; anyone else is asked by pkexec when a tool is
/// started, so that only its absence refuses a request. The tools of one grant run one after the
/// other: starting one waits for the one before, and fails when that one failed or was refused. A
/// tool that is not where macOS has it is looked for in /usr/bin and /bin.
class LinuxAuthorization : public Authorization {
 public:
  static constexpr const char* kAskingProgram = "/usr/bin/pkexec";

  LinuxAuthorization();
  /// With what starts the tools, `isRoot` and the program that asks for rights in place of the
  /// system's.
  LinuxAuthorization(std::shared_ptr<ChildProcesses> children, bool isRoot,
                     std::string askingProgram);
  std::unique_ptr<AuthorizationGrant> request(std::string_view right) override;

 private:
  std::shared_ptr<ChildProcesses> children_;
  bool isRoot_;
  std::string askingProgram_;
};

}  // namespace kelvora::platform
