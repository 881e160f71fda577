#pragma once

#include <atomic>
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

  /// Notes that a signal was sent. Any thread.
  void noteSent() { hasSent_ = true; }

  /// Ends the thread and waits until the bus has what was sent before, at most ten seconds. Not on
  /// the thread itself.
  void stop();

 private:
  void deliverWhatWasSent();

  std::unique_ptr<sdbus::IConnection> connection_;
  std::thread thread_;
  std::atomic<bool> hasSent_ = false;
  std::optional<ExitWork> exitWork_;
};

/// Runs a handler of a message: nothing may be thrown through the C library that calls it, and a
/// message of another shape is ignored.
void guardedFromBus(const std::function<void()>& work);

}  // namespace kelvora::platform
