#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr std::uint32_t kGrantedMode = 06555;

}  // namespace

bool KVUtils::isSMCPermissionGranted() { return isSMCPermissionGranted(Platform::current()); }

bool KVUtils::isSMCPermissionGranted(Platform& platform) {
  const auto tool = smcExePath(platform);
  const auto attributes = tool ? platform.files().attributes(*tool) : std::nullopt;
  return attributes && attributes->ownerAccountName == "root" &&
         attributes->groupOwnerAccountName == "admin" &&
         attributes->posixPermissions == kGrantedMode;
}

}  // namespace kelvora
