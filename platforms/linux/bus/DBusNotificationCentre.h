#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "platforms/linux/bus/ColourSchemePortal.h"
#include "platforms/linux/bus/DesktopColourScheme.h"
#include "platforms/linux/bus/NotificationBus.h"
#include "platforms/shared/InProcessNotificationCentre.h"
#include "ports/MainQueue.h"
#include "ports/NotificationCentres.h"

namespace kelvora::platform {

/// The distributed centre over the D-Bus session bus. It connects on first use; where there is no
/// bus, and once the bus has gone, notifications stay in the process. In all cases an observer
/// hears each notification once, this process's own included, on the main queue.
///
/// The desktop's change of its colour scheme is heard as "AppleInterfaceThemeChangedNotification".
class DBusNotificationCentre : public NotificationCentre {
 public:
  /// `queue` outlives the centre. `scheme` is kept up to date from the first observer of the theme
  /// on.
  DBusNotificationCentre(MainQueue& queue, std::shared_ptr<DesktopColourScheme> scheme);

  ObserverToken addObserver(const std::string& name, SuspensionBehavior behavior,
                            std::function<void(const Notification&)> handler) override;
  void removeObserver(ObserverToken token) override;
  void post(const Notification& notification, bool deliverImmediately) override;

  /// Whether other processes are reached.
  bool isConnected();

 private:
  NotificationBus* bus();
  void schemeIs(std::uint32_t value);

  std::shared_ptr<DesktopColourScheme> scheme_;
  InProcessNotificationCentre observers_;
  std::once_flag connectOnce_;
  std::once_flag askOnce_;
  // Last: their threads use the members above.
  std::unique_ptr<NotificationBus> bus_;
  std::unique_ptr<ColourSchemePortal> portal_;
};

}  // namespace kelvora::platform
