#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platforms/linux/bus/BusMembership.h"
#include "platforms/linux/bus/ColourSchemePortal.h"
#include "platforms/linux/bus/DesktopColourScheme.h"
#include "platforms/shared/InProcessNotificationCentre.h"
#include "ports/MainQueue.h"
#include "ports/NotificationCentres.h"

namespace kelvora::platform {

/// The distributed centre over the D-Bus session bus. It connects on first use, and again when the
/// bus comes back or appears later; while there is no bus, and if the bus refuses a notification,
/// it stays in the process. A line in the log says when the bus has gone and when there is one
/// again. In all cases an observer hears each notification once, this process's
/// own included, on the main queue.
///
/// The desktop's change of its colour scheme is heard as "AppleInterfaceThemeChangedNotification".
class DBusNotificationCentre : public NotificationCentre {
 public:
  /// `queue` outlives the centre. `scheme` is kept up to date from the first observer of the theme
  /// on. `reachChanged`, if given, is called when the bus has gone (false) and when it is back
  /// (true), on a thread of the centre.
  DBusNotificationCentre(MainQueue& queue, std::shared_ptr<DesktopColourScheme> scheme,
                         std::function<void(bool isConnected)> reachChanged = nullptr);

  ObserverToken addObserver(const std::string& name, SuspensionBehavior behavior,
                            std::function<void(const Notification&)> handler) override;
  void removeObserver(ObserverToken token) override;
  void post(const Notification& notification, bool deliverImmediately) override;

  /// Whether other processes are reached.
  bool isConnected();

 private:
  void schemeIs(std::uint32_t value);
  void askForScheme();
  void membershipChanged(bool isJoined);

  std::shared_ptr<DesktopColourScheme> scheme_;
  std::function<void(bool)> reachChanged_;
  InProcessNotificationCentre observers_;
  std::mutex portalMutex_;
  bool isThemeObserved_ = false;
  // Last: their threads use the members above.
  std::unique_ptr<ColourSchemePortal> portal_;
  BusMembership membership_;
};

}  // namespace kelvora::platform
