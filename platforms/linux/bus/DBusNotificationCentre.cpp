#include "platforms/linux/bus/DBusNotificationCentre.h"

#include <utility>

namespace kelvora::platform {

namespace {

constexpr const char* kThemeChanged = "AppleInterfaceThemeChangedNotification";

}  // namespace

DBusNotificationCentre::DBusNotificationCentre(MainQueue& queue,
                                               std::shared_ptr<DesktopColourScheme> scheme)
    : scheme_(std::move(scheme)), observers_(&queue) {}

void DBusNotificationCentre::schemeIs(std::uint32_t value) {
  if (scheme_->exchange(value) != value) {
    observers_.post({kThemeChanged, std::nullopt, std::nullopt}, true);
  }
}

NotificationBus* DBusNotificationCentre::bus() {
  std::call_once(connectOnce_, [this] {
    bus_ =
        NotificationBus::open([this](const Notification& heard) { observers_.post(heard, true); });
  });
  return bus_.get();
}

bool DBusNotificationCentre::isConnected() {
  const NotificationBus* connection = bus();
  return connection != nullptr && connection->isConnected();
}

ObserverToken DBusNotificationCentre::addObserver(
    const std::string& name, SuspensionBehavior behavior,
    std::function<void(const Notification&)> handler) {
  bus();
  const ObserverToken token = observers_.addObserver(name, behavior, std::move(handler));
  if (name == kThemeChanged) {
    std::call_once(askOnce_, [this] {
      portal_ = ColourSchemePortal::open([this](std::uint32_t value) { schemeIs(value); });
    });
  }
  return token;
}

void DBusNotificationCentre::removeObserver(ObserverToken token) {
  observers_.removeObserver(token);
}

void DBusNotificationCentre::post(const Notification& notification, bool deliverImmediately) {
  if (!isConnected() || !bus()->post(notification)) {
    observers_.post(notification, deliverImmediately);
  }
}

}  // namespace kelvora::platform
