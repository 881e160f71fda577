#pragma once

#include <chrono>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Waits for a request to end the program: SIGINT (Ctrl-C in a terminal), SIGTERM, or SIGHUP (the
/// terminal was closed) unless that was ignored before (nohup). While an object exists these
/// signals do not end the process; afterwards they do what they did before. At most one object per
/// process at a time; used by one thread.
class KELVORA_EXPORT StopSignal {
 public:
  /// Throws std::system_error where the system has no descriptors left.
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// Runs the main queue's work as it arrives, as `KVMainQueue::runUntil` does. Returns true at the
  /// deadline, or false once the program is to stop: work that is still queued then stays queued.
  /// Called again after a stop it returns false at once. Only on the main thread.
  bool runUntil(std::chrono::steady_clock::time_point deadline);
  /// The same without a deadline: returns once the program is to stop.
  void run();

  /// Blocks until `descriptor` is readable; false once the program is to stop, even if the
  /// descriptor is readable too. A negative descriptor waits for the stop alone.
  bool waitUntilReadable(int descriptor);
};

}  // namespace kelvora
