#include "platforms/posix/ResourceFolders.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace kelvora::platform {

namespace {

constexpr std::string_view kLocalizationSuffix = ".lproj";
constexpr const char* kLibraryName = "KelvoraCore";

std::vector<std::string> localizationsIn(const std::string& folder) {
  std::vector<std::string> codes;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error);
       !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.ends_with(kLocalizationSuffix)) {
      codes.push_back(name.substr(0, name.size() - kLocalizationSuffix.size()));
    }
  }
  std::sort(codes.begin(), codes.end());
  return codes;
}

}  // namespace

std::vector<std::string> resourceFoldersOf(const std::string& executable) {
  const std::filesystem::path path(executable);
  const std::filesystem::path folder = path.parent_path();
  const std::filesystem::path share = folder.parent_path() / "share";
  return {(folder / "Resources").string(), (share / path.filename()).string(),
          (share / kLibraryName).string()};
}

std::vector<std::string> localizationsIn(const std::vector<std::string>& folders) {
  std::vector<std::string> codes;
  for (const std::string& folder : folders) {
    const auto more = localizationsIn(folder);
    codes.insert(codes.end(), more.begin(), more.end());
  }
  return codes;
}

}  // namespace kelvora::platform
