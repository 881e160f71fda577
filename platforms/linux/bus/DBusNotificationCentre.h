#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platforms/linux/bus/BusMembership.h"
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
  /// `queue` outlives the centre, which takes the handler of `scheme` and follows the desktop from
  /// the first observer of the theme on. `reachChanged`, if given, is called when the bus has gone
  /// (false) and when it is back (true), on a thread of the centre.
  DBusNotificationCentre(MainQueue& queue, std::shared_ptr<DesktopColourScheme> scheme,
                         std::function<void(bool isConnected)> reachChanged = nullptr);
  ~DBusNotificationCentre() override;

  ObserverToken addObserver(const std::string& name, SuspensionBehavior behavior,
                            std::function<void(const Notification&)> handler) override;
  void removeObserver(ObserverToken token) override;
  void post(const Notification& notification, bool deliverImmediately) override;

  /// Whether other processes are reached.
  bool isConnected();

 private:
  void membershipChanged(bool isJoined);

  std::shared_ptr<DesktopColourScheme> scheme_;
  std::function<void(bool)> reachChanged_;
  InProcessNotificationCentre observers_;
  // Last: its threads use the members above.
  BusMembership membership_;
};

}  // namespace kelvora::platform
