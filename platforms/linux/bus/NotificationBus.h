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
  /// Connects to the session bus; null when there is none. `received` is called on the bus's own
  /// thread until the end of the object.
  static std::unique_ptr<NotificationBus> open(std::function<void(const Notification&)> received);
  ~NotificationBus();
  NotificationBus(const NotificationBus&) = delete;
  NotificationBus& operator=(const NotificationBus&) = delete;

  /// Sends a notification; false when the bus is gone. Any thread.
  bool post(const Notification& notification);

  /// Whether the bus has not closed the connection.
  bool isConnected() const;

 private:
  struct Connection;
  explicit NotificationBus(std::unique_ptr<Connection> connection);

  std::unique_ptr<Connection> connection_;
};

}  // namespace kelvora::platform
