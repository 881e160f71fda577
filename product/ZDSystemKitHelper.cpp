#include "KelvoraCore/ZDSystemKitHelper.h"

#include "base/Log.h"
#include "base/UTF8Text.h"
#include "ports/ChildProcesses.h"
#include "ports/Ports.h"
#include "product/ChildOutput.h"

namespace kelvora {

std::optional<std::string> ZDSystemKitHelper::processWithPath(
    const std::string& path, const std::vector<std::string>& arguments,
    platform::ChildProcesses& childProcesses) {
  platform::ChildRequest request;
  request.path = path;
  request.arguments = arguments;
  request.captureStandardOutput = true;
  const platform::ChildLaunch launch = childProcesses.launch(request);
  if (!launch.child) {
    // The same text for every command: people search logs for it.
    log("system_profiler SPMemoryDataType: " + launch.failure);
    return std::nullopt;
  }
  std::string output = readToEnd(*launch.child);
  if (output.empty() || !isValidUTF8(output)) {
    return std::nullopt;
  }
  launch.child->closeStandardOutput();
  return output;
}

}  // namespace kelvora
