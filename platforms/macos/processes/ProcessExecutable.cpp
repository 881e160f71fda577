#include "platforms/posix/ProcessExecutable.h"

#include <array>

#include <libproc.h>

namespace kelvora::platform {

std::string executableOf(pid_t process) {
  std::array<char, PROC_PIDPATHINFO_MAXSIZE> path{};
  const int length = proc_pidpath(process, path.data(), path.size());
  return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : "";
}

}  // namespace kelvora::platform
