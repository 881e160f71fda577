#include "platforms/linux/system/LinuxFiles.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"

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

// The value of a line like XDG_DOCUMENTS_DIR="$HOME/Documents"; empty for any other line.
std::string documentsLineValue(const std::string& line, const std::string& home) {
  constexpr std::string_view kStart = "XDG_DOCUMENTS_DIR=\"";
  constexpr std::string_view kHome = "$HOME";
  if (!line.starts_with(kStart) || line.back() != '"' || line.size() == kStart.size()) {
    return "";
  }
  const std::string value = line.substr(kStart.size(), line.size() - kStart.size() - 1);
  if (value.starts_with(kHome)) {
    return home + value.substr(kHome.size());
  }
  return value.starts_with('/') ? value : "";
}

}  // namespace

bool LinuxFiles::copy(const std::string& from, const std::string& to) {
  std::error_code error;
  return std::filesystem::copy_file(from, to, std::filesystem::copy_options::none, error);
}

std::optional<std::string> LinuxFiles::documentsFolder() {
  const std::string home = homeFolder();
  if (home.empty()) {
    return std::nullopt;
  }
  const std::string content =
      readFile(baseFolder("XDG_CONFIG_HOME", "/.config").value_or("") + "/user-dirs.dirs")
          .value_or("");
  std::string folder = home + "/Documents";
  for (const std::string_view line : linesOf(content)) {
    if (const auto value = documentsLineValue(std::string(line), home); !value.empty()) {
      folder = value;
    }
  }
  return folder;
}

std::optional<std::string> LinuxFiles::applicationSupportFolder() {
  return baseFolder("XDG_DATA_HOME", "/.local/share");
}

std::optional<std::string> LinuxFiles::groupContainer(const std::string& groupIdentifier) {
  const auto support = applicationSupportFolder();
  if (!support || groupIdentifier.empty()) {
    return std::nullopt;
  }
  return *support + "/" + groupIdentifier;
}

}  // namespace kelvora::platform
