#pragma once

#include <chrono>
#include <functional>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The current platform's queue of work for the main thread: notifications, and completions of what
/// runs elsewhere. The main thread is the one that first calls an operation of this class or of the
/// library. A host drains the queue in one of two ways: it waits in `runUntil` (or in
/// `StopSignal::runUntil`), or it has a loop of its own. On macOS that is the run loop of the main
/// thread, which drains the queue by itself; elsewhere it polls `descriptor()` and calls
/// `runPending()`. A program without a loop calls `runPending()` before it ends.
class KELVORA_EXPORT KVMainQueue {
 public:
  /// Runs queued work as it arrives until `deadline`. What is queued already runs even if the
  /// deadline has passed; work that keeps coming does not postpone the end. Only on the main
  /// thread; on another it runs nothing and returns at once. Do not call it from queued work: where
  /// the system's loop runs the queue, no further work runs before the deadline.
  static void runUntil(std::chrono::steady_clock::time_point deadline);

  /// Runs the work that is queued now and returns the number of items run; work queued meanwhile
  /// waits for the next call. An exception from an item propagates, and the rest stays queued. Only
  /// on the main thread; on another it runs nothing and returns 0.
  static int runPending();

  /// A descriptor for the host's own poll loop, readable while work is queued; -1 where the
  /// system's loop drains the queue. Owned by the library.
  static int descriptor();

  /// Queues work for the main thread, in order. Never runs it at once. Any thread.
  static void async(std::function<void()> work);
};

}  // namespace kelvora
