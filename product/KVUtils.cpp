#include "KelvoraCore/KVUtils.h"

#include <filesystem>
#include <string_view>

#include "KelvoraCore/KVApplicationGroup.h"

#include "ports/NewFile.h"
#include "ports/Ports.h"
#include "ports/ProgramNames.h"

namespace kelvora {

namespace {

using Path = std::optional<std::string>;

constexpr std::string_view kMenuApp = "Kelvora Menu.app";
constexpr std::string_view kHelperApp = "Kelvora Helper.app";

Path besideExecutable(Platform& platform, std::string_view program) {
  const std::filesystem::path executable(platform.mainBundle().executablePath());
  return executable.parent_path().string().append("/").append(program);
}

Path inSupportFolder(Platform& platform, std::string_view program) {
  Path path = KVUtils::applicationSupportPath(platform);
  if (path) {
    path->append("/").append(program);
  }
  return path;
}

}  // namespace

Path KVUtils::documentsPath(Platform& platform) { return platform.files().documentsFolder(); }

Path KVUtils::applicationSupportLocation(Platform& platform) {
  const Path folder = platform.files().applicationSupportFolder();
  return folder ? Path(std::filesystem::path(*folder) / "Kelvora") : std::nullopt;
}

Path KVUtils::applicationSupportPath(Platform& platform) {
  Path path = applicationSupportLocation(platform);
  if (path && !platform.files().exists(*path)) {
    platform.files().createFolder(*path);
  }
  return path;
}

Path KVUtils::groupContainerLocation(Platform& platform) {
  return platform.files().groupContainer(kApplicationGroupIdentifier);
}

Path KVUtils::groupContainerPath(Platform& platform) {
  const Path path = groupContainerLocation(platform);
  return path && platform.files().createFolder(*path) ? path : std::nullopt;
}

std::error_code KVUtils::createFile(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (const std::error_code error = platform::createNewFolders(folder.string())) {
    return error;
  }
  const std::error_code error = platform::createNewFile(path, platform::NewFileAccess::kUsual);
  return error == std::errc::file_exists ? std::error_code() : error;
}

Path KVUtils::smcExeSrcPath(Platform& platform) { return besideExecutable(platform, kSMCToolName); }

Path KVUtils::smcExePath(Platform& platform) { return inSupportFolder(platform, kSMCToolName); }

Path KVUtils::fanGuardianPath(Platform& platform) {
  return besideExecutable(platform, kGuardianName);
}

Path KVUtils::menuAppSrcPath(Platform& platform) { return besideExecutable(platform, kMenuApp); }

Path KVUtils::menuAppPath(Platform& platform) { return inSupportFolder(platform, kMenuApp); }

Path KVUtils::helperAppSrcPath(Platform& platform) {
  return besideExecutable(platform, kHelperApp);
}

Path KVUtils::helperAppPath(Platform& platform) { return inSupportFolder(platform, kHelperApp); }

}  // namespace kelvora
