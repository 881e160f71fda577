#include "platforms/linux/processes/LinuxChildProcesses.h"

#include <string>
#include <vector>

namespace kelvora::platform {

namespace {

bool isProcessList(const ChildRequest& request) {
  return request.path == "/bin/ps" &&
         request.arguments == std::vector<std::string>{"-Aceo pid,pcpu,comm", "-r"};
}

}  // namespace

ChildLaunch LinuxChildProcesses::launch(const ChildRequest& request) {
  if (!isProcessList(request)) {
    return PosixChildProcesses::launch(request);
  }
  ChildRequest translated = request;
  // Twice "w": no command is cut at the width of a terminal that COLUMNS may name.
  translated.arguments = {"-Awwo", "pid,pcpu,comm", "--sort=-pcpu"};
  return PosixChildProcesses::launch(translated);
}

}  // namespace kelvora::platform
