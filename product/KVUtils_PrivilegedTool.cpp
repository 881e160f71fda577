#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr std::uint32_t kGrantedMode = 06555;

}  // namespace

bool KVUtils::isSMCPermissionGranted(Platform& platform) {
  const auto tool = smcExeOwnership(platform);
  return tool && tool->owner == "root" && tool->group == "admin" &&
         tool->permissions == kGrantedMode;
}

std::optional<KVFileOwnership> KVUtils::smcExeOwnership(Platform& platform) {
  const auto path = smcExePath(platform);
  const auto attributes = path ? platform.files().attributes(*path) : std::nullopt;
  if (!attributes) {
    return std::nullopt;
  }
  return KVFileOwnership{attributes->ownerAccountName, attributes->groupOwnerAccountName,
                         attributes->posixPermissions};
}

}  // namespace kelvora
