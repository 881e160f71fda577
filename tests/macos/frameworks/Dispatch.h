#pragma once

#include <functional>

namespace kelvora::testing::mac {

/// libdispatch, and the run loop of the main thread that drains its main queue. Serial queues have
/// a thread each.
class Dispatch {
 public:
  static Dispatch& shared();

  /// Runs everything that waits on the main queue, as a loop of the host does; also what that
  /// queues. Main thread only.
  void drainMainQueue();
  /// Makes the main loop run something of the system, e.g. a notice that arrives. Any thread.
  void onMainLoop(std::function<void()> work);
  /// How many pieces of work the main queue has.
  std::size_t queuedOnMain() const;
};

}  // namespace kelvora::testing::mac
