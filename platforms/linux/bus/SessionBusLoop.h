#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "platforms/linux/bus/ExitWork.h"

namespace sdbus {
class IConnection;
}

namespace kelvora::platform {

/// A connection to the session bus, and the thread that hands over what arrives on it.
///
/// The bus library shares nothing safely between a call that waits for its reply and a loop that
/// already reads: matches and calls with a reply are made before `start`; after it only signals are
/// sent.
class SessionBusLoop {
 public:
  /// Connects. Throws sdbus::Error if there is no session bus.
  SessionBusLoop();
  /// As `stop`.
  ~SessionBusLoop();
  SessionBusLoop(const SessionBusLoop&) = delete;
  SessionBusLoop& operator=(const SessionBusLoop&) = delete;

  sdbus::IConnection& connection() { return *connection_; }

  /// Starts the thread, once. It ends with the object, at the exit of the process, or when the bus
  /// goes away; then it calls `ended`, if given.
  void start(std::function<void()> ended = nullptr);

  /// Ends the thread and hands to the bus what was sent before. Gives up when the bus takes nothing
  /// for two seconds, and after ten seconds. Not on the thread itself.
  void stop();

 private:
  void sendWhatIsQueued();

  std::unique_ptr<sdbus::IConnection> connection_;
  std::thread thread_;
  std::optional<ExitWork> exitWork_;
};

/// Runs a handler of a message: nothing may be thrown through the C library that calls it, and a
/// message of another shape is ignored.
void guardedFromBus(const std::function<void()>& work);

}  // namespace kelvora::platform
