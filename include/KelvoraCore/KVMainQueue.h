#pragma once

#include <functional>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The main queue of a host whose system has no main loop that drains it: notices, and completions
/// of what runs elsewhere, wait in it for the main thread. The main thread is the one that first
/// calls an operation of this class or of the library. The queue is the current platform's.
class KELVORA_EXPORT KVMainQueue {
 public:
  /// A descriptor for the host's poll loop, readable while work is queued; -1 where the system's
  /// own loop drains the queue. Owned by the library.
  static int descriptor();

  /// Runs what is queued now and answers how many pieces ran; what they queue waits for the next
  /// call. Only on the main thread; on another it runs nothing.
  static int runPending();

  /// Queues work for the main thread. Any thread.
  static void async(std::function<void()> work);
};

}  // namespace kelvora
