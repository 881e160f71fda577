#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/NotificationCentres.h"

namespace kelvora::platform {

/// One connection to the session bus, for notifications between the programs of a session.
///
/// A notification travels as the signal "Posted" of the interface
/// "com.kelvora.DistributedNotifications" on the path of the same name, with the arguments
/// (s as aa{sv}): its name, none or one object text, none or one user info. The sender hears its
/// own signals too.
class NotificationBus {
 public:
  struct Handlers {
    std::function<void(const Notification&)> received;
    /// The desktop's "color-scheme": 0 no preference, 1 dark, 2 light.
    std::function<void(std::uint32_t)> colourScheme;
  };

  /// Connects to the session bus; null when there is none. The handlers are called on the bus's own
  /// thread until the end of the object.
  static std::unique_ptr<NotificationBus> open(Handlers handlers);
  ~NotificationBus();
  NotificationBus(const NotificationBus&) = delete;
  NotificationBus& operator=(const NotificationBus&) = delete;

  /// Sends a notification; false when the bus is gone. Any thread.
  bool post(const Notification& notification);

  /// Asks the desktop for its colour scheme; the answer comes to the handler, if one comes.
  void askColourScheme();

  /// Whether the bus has not closed the connection.
  bool isConnected() const;

 private:
  struct Connection;
  explicit NotificationBus(std::unique_ptr<Connection> connection);

  std::unique_ptr<Connection> connection_;
};

}  // namespace kelvora::platform
