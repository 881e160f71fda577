#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "KelvoraCore/NotificationObserver.h"

namespace kelvora::platform {

using kelvora::Notification;

/// What becomes of notifications while the observing application is suspended.
enum class SuspensionBehavior : std::uint8_t { kDefault, kCoalesce };

/// Names an observation; never 0.
using ObserverToken = std::uint64_t;

/// One notification centre. Any thread may call; a distributed centre calls its observers on the
/// main queue, an in-process one on the thread that posts.
class NotificationCentre {
 public:
  virtual ~NotificationCentre() = default;
  /// Calls `handler` for each later notification of a name, e.g.
  /// "AppleInterfaceThemeChangedNotification", until the observer is removed. Returns the token
  /// that removes it.
  virtual ObserverToken addObserver(const std::string& name, SuspensionBehavior behavior,
                                    std::function<void(const Notification&)> handler) = 0;
  /// After it returns on the main thread the handler is not called again, also not for what was
  /// posted before. An unknown token is ignored.
  virtual void removeObserver(ObserverToken token) = 0;
  /// Sends a notification to every observer of its name, also those of this process, once each.
  /// `deliverImmediately` also reaches suspended applications at once. Does not wait for observers
  /// of a distributed centre; what was posted before a normal exit of the process reaches them.
  virtual void post(const Notification& notification, bool deliverImmediately) = 0;
};

/// The two centres of a process. The distributed one reaches every program of the user's session,
/// and only this process while the system has no bus between programs. The centres live as long as
/// this object. Any thread.
class NotificationCentres {
 public:
  virtual ~NotificationCentres() = default;
  /// The centre of the user's session: notifications between programs.
  virtual NotificationCentre& distributed() = 0;
  /// The centre of this process: notifications that no other program receives.
  virtual NotificationCentre& inProcess() = 0;
  /// Whether `distributed()` reaches other processes.
  virtual bool reachesOtherProcesses() const = 0;
};

}  // namespace kelvora::platform
