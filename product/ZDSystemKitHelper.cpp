#include "KelvoraCore/ZDSystemKitHelper.h"

#include <array>
#include <cstddef>
#include <span>

#include "base/Log.h"
#include "base/UTF8Text.h"
#include "ports/ChildProcesses.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

std::string readToEnd(platform::ChildProcess& child) {
  std::string output;
  std::array<char, 65'536> buffer;
  while (const std::size_t count =
             child.readStandardOutput(std::as_writable_bytes(std::span(buffer)))) {
    output.append(buffer.data(), count);
  }
  return output;
}

}  // namespace

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
