#include "platforms/linux/bus/DBusNotificationCentre.h"

#include <utility>

#include "base/Log.h"

namespace kelvora::platform {

namespace {

constexpr const char* kThemeChanged = "AppleInterfaceThemeChangedNotification";

}  // namespace

DBusNotificationCentre::DBusNotificationCentre(MainQueue& queue,
                                               std::shared_ptr<DesktopColourScheme> scheme,
                                               std::function<void(bool)> reachChanged)
    : scheme_(std::move(scheme)),
      reachChanged_(std::move(reachChanged)),
      observers_(&queue),
      membership_([this](const Notification& heard) { observers_.post(heard, true); },
                  [this](bool isJoined) { membershipChanged(isJoined); }) {
  scheme_->setHandler([this] {
    observers_.post({kThemeChanged, std::nullopt, std::nullopt}, true);
  });
}

DBusNotificationCentre::~DBusNotificationCentre() { scheme_->setHandler(nullptr); }

// The portal's connection went with the bus.
void DBusNotificationCentre::membershipChanged(bool isJoined) {
  log(isJoined ? "session bus: other programs are heard again"
               : "session bus: cut off, other programs are not heard");
  if (isJoined) {
    scheme_->followAgain();
  }
  if (reachChanged_) {
    reachChanged_(isJoined);
  }
}

bool DBusNotificationCentre::isConnected() { return membership_.bus() != nullptr; }

ObserverToken DBusNotificationCentre::addObserver(
    const std::string& name, SuspensionBehavior behavior,
    std::function<void(const Notification&)> handler) {
  membership_.bus();
  const ObserverToken token = observers_.addObserver(name, behavior, std::move(handler));
  if (name == kThemeChanged) {
    scheme_->follow();
  }
  return token;
}

void DBusNotificationCentre::removeObserver(ObserverToken token) {
  observers_.removeObserver(token);
}

void DBusNotificationCentre::post(const Notification& notification, bool deliverImmediately) {
  const auto bus = membership_.bus();
  if (bus == nullptr || !bus->post(notification)) {
    observers_.post(notification, deliverImmediately);
  }
}

}  // namespace kelvora::platform
