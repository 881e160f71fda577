#include <utility>

#include "KelvoraCore/KVUtils.h"

#include "platform/Platform.h"

namespace kelvora {

namespace {

void postLater(platform::Platform& platform, platform::Notification notification) {
  platform.mainQueue().async([&platform, posted = std::move(notification)] {
    constexpr bool kDeliverImmediately = true;
    platform.notificationCentres().distributed().post(posted, kDeliverImmediately);
  });
}

}  // namespace

void KVUtils::broadcastNotification(const std::string& name) {
  broadcastNotification(name, platform::Platform::current());
}

void KVUtils::broadcastNotification(const std::string& name, platform::Platform& platform) {
  postLater(platform, {name, std::nullopt, std::nullopt});
}

void KVUtils::broadcastNotification(const std::string& name,
                                    PropertyListValue::Dictionary userInfo) {
  broadcastNotification(name, std::move(userInfo), platform::Platform::current());
}

void KVUtils::broadcastNotification(const std::string& name, PropertyListValue::Dictionary userInfo,
                                    platform::Platform& platform) {
  postLater(platform, {name, std::nullopt, std::move(userInfo)});
}

}  // namespace kelvora
