#include "platforms/linux/processes/LinuxAuthorization.h"

#include <utility>

#include <unistd.h>

#include "platforms/posix/PosixChildProcesses.h"

namespace kelvora::platform {

namespace {

class Grant : public AuthorizationGrant {
 public:
  Grant(std::shared_ptr<ChildProcesses> children, std::string askingProgram)
      : children_(std::move(children)), askingProgram_(std::move(askingProgram)) {}

  bool executeWithPrivileges(const std::string& tool,
                             const std::vector<std::string>& arguments) override {
    ChildRequest request;
    request.path = tool;
    request.arguments = arguments;
    if (!askingProgram_.empty()) {
      request.arguments.insert(request.arguments.begin(), tool);
      request.path = askingProgram_;
    }
    // The caller does not wait for the tool, and no zombie stays of a child that is released.
    return children_->launch(request).child != nullptr;
  }

 private:
  std::shared_ptr<ChildProcesses> children_;
  std::string askingProgram_;
};

}  // namespace

LinuxAuthorization::LinuxAuthorization()
    : LinuxAuthorization(std::make_shared<PosixChildProcesses>(), geteuid() == 0, kAskingProgram) {}

LinuxAuthorization::LinuxAuthorization(std::shared_ptr<ChildProcesses> children, bool isRoot,
                                       std::string askingProgram)
    : children_(std::move(children)), isRoot_(isRoot), askingProgram_(std::move(askingProgram)) {}

std::unique_ptr<AuthorizationGrant> LinuxAuthorization::request(std::string_view) {
  if (isRoot_) {
    return std::make_unique<Grant>(children_, "");
  }
  if (access(askingProgram_.c_str(), X_OK) != 0) {
    return nullptr;
  }
  return std::make_unique<Grant>(children_, askingProgram_);
}

}  // namespace kelvora::platform
