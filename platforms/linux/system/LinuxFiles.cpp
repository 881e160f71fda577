#include "platforms/linux/system/LinuxFiles.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"
#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kAccountBufferBytes = 16384;

std::string userName(uid_t uid) {
  std::array<char, kAccountBufferBytes> buffer;
  passwd record{};
  passwd* found = nullptr;
  getpwuid_r(uid, &record, buffer.data(), buffer.size(), &found);
  return found == nullptr ? "" : found->pw_name;
}

std::string groupName(gid_t gid) {
  std::array<char, kAccountBufferBytes> buffer;
  group record{};
  group* found = nullptr;
  getgrgid_r(gid, &record, buffer.data(), buffer.size(), &found);
  return found == nullptr ? "" : found->gr_name;
}

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

bool LinuxFiles::exists(const std::string& path) {
  struct stat information {};
  return stat(path.c_str(), &information) == 0;
}

bool LinuxFiles::copy(const std::string& from, const std::string& to) {
  std::error_code error;
  return std::filesystem::copy_file(from, to, std::filesystem::copy_options::none, error);
}

std::optional<FileAttributes> LinuxFiles::attributes(const std::string& path) {
  // A link's own attributes: who owns the link decides where it leads.
  struct stat information {};
  if (lstat(path.c_str(), &information) != 0) {
    return std::nullopt;
  }
  return FileAttributes{userName(information.st_uid), groupName(information.st_gid),
                        information.st_mode & 07777};
}

std::optional<std::vector<std::string>> LinuxFiles::list(const std::string& folder) {
  std::error_code error;
  std::vector<std::string> names;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  if (error) {
    return std::nullopt;
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool LinuxFiles::remove(const std::string& path) {
  std::error_code error;
  const auto count = std::filesystem::remove_all(path, error);
  return !error && count > 0;
}

bool LinuxFiles::createFolder(const std::string& path) {
  std::error_code error;
  return createOwnedFolders(path) && std::filesystem::is_directory(path, error);
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
