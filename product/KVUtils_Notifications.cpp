#include <utility>

#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

void postLater(Platform& platform, platform::Notification notification) {
  platform.mainQueue().async([&platform, posted = std::move(notification)] {
    constexpr bool kDeliverImmediately = true;
    platform.notificationCentres().distributed().post(posted, kDeliverImmediately);
  });
}

}  // namespace

void KVUtils::broadcastNotification(const std::string& name, Platform& platform) {
  postLater(platform, {name, std::nullopt, std::nullopt});
}

void KVUtils::broadcastNotification(const std::string& name, PropertyListValue::Dictionary userInfo,
                                    Platform& platform) {
  postLater(platform, {name, std::nullopt, std::move(userInfo)});
}

}  // namespace kelvora
