#include <memory>
#include <utility>

#include "KelvoraCore/KVSerialQueue.h"
#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr std::uint32_t kGrantedMode = 06555;

std::optional<platform::FileAttributes> attributesOfTool(Platform& platform) {
  const auto path = KVUtils::smcExePath(platform);
  return path ? platform.files().attributes(*path) : std::nullopt;
}

bool isGranted(const std::optional<platform::FileAttributes>& tool) {
  return tool && tool->isRegularFile && tool->ownerAccountName == "root" &&
         tool->groupOwnerAccountName == "admin" && tool->posixPermissions == kGrantedMode;
}

void copyMissingTool(const std::string& path, Platform& platform) {
  const auto source = KVUtils::smcExeSrcPath(platform);
  if (source && !platform.files().exists(path)) {
    platform.files().copy(*source, path);
  }
}

bool giveRights(const std::string& path, Platform& platform) {
  const auto grant = platform.authorization().request("system.privilege.admin");
  return grant && grant->executeWithPrivileges("/usr/sbin/chown", {"root:admin", path}) &&
         grant->executeWithPrivileges("/bin/chmod", {"6555", path});
}

bool installTool(Platform& platform) {
  const auto path = KVUtils::smcExePath(platform);
  if (!path) {
    return false;
  }
  // Through a link, the copy or the rights would go to a file elsewhere.
  const auto tool = attributesOfTool(platform);
  if (tool && (!tool->isRegularFile || tool->names > 1)) {
    return isGranted(tool);
  }
  copyMissingTool(*path, platform);
  return KVUtils::isSMCPermissionGranted(platform) || giveRights(*path, platform);
}

}  // namespace

bool KVUtils::isSMCPermissionGranted(Platform& platform) {
  return isGranted(attributesOfTool(platform));
}

void KVUtils::requestSMCPermission(PermissionCompletion completion, Platform& platform) {
  auto queue = std::make_shared<KVSerialQueue>("Request Privilege");
  KVSerialQueue& started = *queue;
  // The queue ends on the main thread: it cannot wait for itself.
  started.async([&platform, queue = std::move(queue), done = std::move(completion)]() mutable {
    const bool isGranted = installTool(platform);
    platform.mainQueue().async([queue = std::move(queue), done = std::move(done), isGranted] {
      if (done) {
        done(isGranted, std::nullopt);
      }
    });
  });
}

std::optional<KVFileOwnership> KVUtils::smcExeOwnership(Platform& platform) {
  const auto attributes = attributesOfTool(platform);
  if (!attributes) {
    return std::nullopt;
  }
  return KVFileOwnership{attributes->ownerAccountName, attributes->groupOwnerAccountName,
                         attributes->posixPermissions};
}

}  // namespace kelvora
