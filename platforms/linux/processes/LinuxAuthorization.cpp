#include "platforms/linux/processes/LinuxAuthorization.h"

#include <utility>

#include <unistd.h>

#include "platforms/posix/PosixChildProcesses.h"

namespace kelvora::platform {

namespace {

// Other systems have some tools in other folders, e.g. chown in /usr/sbin.
std::string placeOf(const std::string& tool) {
  const std::string name = tool.substr(tool.rfind('/') + 1);
  for (const std::string& path : {tool, "/usr/bin/" + name, "/bin/" + name}) {
    if (access(path.c_str(), X_OK) == 0) {
      return path;
    }
  }
  return "";
}

class Grant : public AuthorizationGrant {
 public:
  Grant(std::shared_ptr<ChildProcesses> children, std::string askingProgram)
      : children_(std::move(children)), askingProgram_(std::move(askingProgram)) {}

  bool executeWithPrivileges(const std::string& tool,
                             const std::vector<std::string>& arguments) override {
    const std::string path = placeOf(tool);
    if (path.empty() || !lastHasSucceeded()) {
      return false;
    }
    ChildRequest request;
    request.path = path;
    request.arguments = arguments;
    if (!askingProgram_.empty()) {
      request.arguments.insert(request.arguments.begin(), path);
      request.path = askingProgram_;
    }
    // The caller does not wait for the tool, and no zombie stays of a child that is released.
    last_ = children_->launch(request).child;
    return last_ != nullptr;
  }

 private:
  // Tools run one at a time, because a chown after a chmod clears the set-user-id bit. After a
  // refusal no further tool runs.
  bool lastHasSucceeded() const { return last_ == nullptr || last_->waitUntilExit() == 0; }

  std::shared_ptr<ChildProcesses> children_;
  std::string askingProgram_;
  std::unique_ptr<ChildProcess> last_;
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
