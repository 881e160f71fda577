#include "platforms/posix/ProcessExecutable.h"

#include <filesystem>
#include <string_view>
#include <system_error>

namespace kelvora::platform {

std::string executableOf(pid_t process) {
  constexpr std::string_view kDeleted = " (deleted)";
  std::error_code error;
  std::string path =
      std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error).string();
  if (path.ends_with(kDeleted)) {
    path.resize(path.size() - kDeleted.size());
  }
  return path;
}

}  // namespace kelvora::platform
