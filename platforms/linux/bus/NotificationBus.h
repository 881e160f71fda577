#pragma once

#include <functional>
#include <memory>

#include "ports/NotificationCentres.h"

namespace kelvora::platform {

/// One connection to the session bus, for notifications between the programs of a session.
///
/// A notification travels as the signal "Posted" of the interface
/// "com.kelvora.DistributedNotifications" on the path of the same name, with the arguments
/// (s as aa{sv}): its name, none or one object text, none or one user info. The sender hears its
/// own signals too.
class NotificationBus {
 public:
  /// Connects to the session bus; null without a bus. `received` is called on the bus's own
  /// thread until the end of the object; `ended` once on that thread, when the bus has closed the
  /// connection or the object ends. What was posted and has not come back by then is received just
  /// before, in order. `received` must not post.
  static std::unique_ptr<NotificationBus> open(std::function<void(const Notification&)> received,
                                               std::function<void()> ended);
  /// Hands to the bus what was posted before, as `SessionBusLoop::stop` does.
  ~NotificationBus();
  NotificationBus(const NotificationBus&) = delete;
  NotificationBus& operator=(const NotificationBus&) = delete;

  /// Sends a notification, which is received exactly once. False if the bus is gone, or refuses it:
  /// one that nests deeper than 32 levels, or is larger than 128 MB; then it is not received. Any
  /// thread.
  bool post(const Notification& notification);

  /// Whether the bus has not closed the connection.
  bool isConnected() const;

 private:
  struct Connection;
  explicit NotificationBus(std::unique_ptr<Connection> connection);
  void send(const Notification& notification);

  std::unique_ptr<Connection> connection_;
};

}  // namespace kelvora::platform
