#include "KelvoraCore/BackgroundProgram.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <limits>
#include <string_view>

#include <unistd.h>

#include "platforms/posix/OwnSession.h"
#include "platforms/posix/PosixChildProcesses.h"
#include "platforms/posix/ProcessExecutable.h"

namespace kelvora {

namespace {

// Marks the end of a background process's answer; it does not occur in text.
constexpr std::string_view kDetached("\0", 1);

std::string outputOf(platform::ChildProcess& child) {
  std::string output;
  std::array<std::byte, 4096> buffer{};
  for (std::size_t count = 1; count > 0;) {
    count = child.readStandardOutput(buffer);
    output.append(reinterpret_cast<const char*>(buffer.data()), count);
  }
  return output;
}

std::string fileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

BackgroundProgram::Start BackgroundProgram::start(const std::vector<std::string>& arguments) {
  platform::ChildRequest request;
  request.path = platform::executableOf(getpid());
  request.arguments = arguments;
  request.captureStandardOutput = true;
  const platform::ChildLaunch launch = platform::PosixChildProcesses().launch(request);
  if (launch.child == nullptr) {
    return {"", std::nullopt, launch.failure};
  }
  Start start{outputOf(*launch.child), std::nullopt, ""};
  if (start.output.ends_with(kDetached)) {
    start.output.resize(start.output.size() - kDetached.size());
  } else {
    start.status = launch.child->waitUntilExit();
  }
  return start;
}

void BackgroundProgram::detach(StandardOutput& output) {
  platform::leaveSession();
  output.write(kDetached);
  output.close();
}

bool BackgroundProgram::askToEnd(std::int64_t processIdentifier) {
  if (processIdentifier <= 0 || processIdentifier > std::numeric_limits<pid_t>::max()) {
    return false;  // a group of processes, or all of them
  }
  const auto process = static_cast<pid_t>(processIdentifier);
  const std::string name = fileName(platform::executableOf(process));
  return !name.empty() && name == fileName(platform::executableOf(getpid())) &&
         kill(process, SIGTERM) == 0;
}

}  // namespace kelvora
