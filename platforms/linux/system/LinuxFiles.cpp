#include "platforms/linux/system/LinuxFiles.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"
#include "platforms/linux/system/UserFolders.h"
#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

namespace {

// Far more than the eight lines of a desktop.
constexpr std::size_t kMostUserFolderBytes = 1 << 20;

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

bool isOnDisk(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file.isOpen() && fsync(file.get()) == 0;
}

}  // namespace

// Under a name of this process's own until it is whole.
bool LinuxFiles::copy(const std::string& from, const std::string& to) {
  const std::string unfinished = to + "." + std::to_string(getpid());
  std::error_code error;
  const bool isCopied =
      std::filesystem::copy_file(from, unfinished,
                                 std::filesystem::copy_options::overwrite_existing, error) &&
      isOnDisk(unfinished) &&
      renameat2(AT_FDCWD, unfinished.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
  if (!isCopied) {
    std::filesystem::remove(unfinished, error);
  }
  return isCopied;
}

std::optional<std::string> LinuxFiles::documentsFolder() {
  const std::string home = homeFolder();
  if (home.empty()) {
    return std::nullopt;
  }
  const std::string content =
      readSmallFile(baseFolder("XDG_CONFIG_HOME", "/.config").value_or("") + "/user-dirs.dirs",
                    kMostUserFolderBytes)
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
