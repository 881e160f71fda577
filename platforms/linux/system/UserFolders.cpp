#include "platforms/linux/system/UserFolders.h"

#include <array>
#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace kelvora::platform {

namespace {

constexpr std::size_t kAccountBufferBytes = 16384;

std::string accountHomeFolder() {
  std::array<char, kAccountBufferBytes> buffer;
  passwd record{};
  passwd* found = nullptr;
  getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found);
  return found == nullptr ? "" : found->pw_dir;
}

// A folder named by the environment; the base-directory rules ignore relative ones.
std::string environmentFolder(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : "";
}

}  // namespace

std::string homeFolder() {
  const std::string home = environmentFolder("HOME");
  return home.empty() ? accountHomeFolder() : home;
}

std::optional<std::string> baseFolder(const char* variable, const char* inHome) {
  if (const std::string folder = environmentFolder(variable); !folder.empty()) {
    return folder;
  }
  const std::string home = homeFolder();
  if (home.empty()) {
    return std::nullopt;
  }
  return home + inHome;
}

std::optional<std::string> dataFolder() { return baseFolder("XDG_DATA_HOME", "/.local/share"); }

}  // namespace kelvora::platform
