#include "platforms/linux/system/LinuxFiles.h"

#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"
#include "platforms/linux/system/UserFolders.h"

namespace kelvora::platform {

namespace {

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

std::optional<std::string> LinuxFiles::applicationSupportFolder() { return dataFolder(); }

std::optional<std::string> LinuxFiles::groupContainer(const std::string& groupIdentifier) {
  const auto support = applicationSupportFolder();
  if (!support || groupIdentifier.empty()) {
    return std::nullopt;
  }
  return *support + "/" + groupIdentifier;
}

}  // namespace kelvora::platform
