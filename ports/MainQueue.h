#pragma once

#include <chrono>
#include <functional>
#include <span>

namespace kelvora::platform {

/// Work for the main thread, in order. The main thread is the first thread that used the queue.
class MainQueue {
 public:
  virtual ~MainQueue() = default;
  /// Queues `work` to run later on the main thread; returns at once, also on the main thread.
  virtual void async(std::function<void()> work) = 0;
  /// Whether the calling thread is the main thread.
  virtual bool isMainThread() const = 0;
  /// Runs what is queued now, on the main thread; work that it queues waits for the next call.
  /// Returns how many ran; on another thread it runs nothing and returns 0. What a piece throws
  /// leaves the call, and the rest stays queued.
  virtual int runPending() = 0;
  /// A descriptor that is readable while work is queued, for the host's poll loop; -1 where the
  /// system's own loop drains it. Owned by the queue.
  virtual int descriptor() const = 0;
  /// Blocks until work is queued, one of `descriptors` is readable or `deadline` has passed; may
  /// return earlier. Queued work stays queued. On macOS the run loop runs meanwhile, one turn at
  /// least. Main thread only, and not from queued work.
  virtual void waitForWork(std::chrono::steady_clock::time_point deadline,
                           std::span<const int> descriptors) = 0;
};

}  // namespace kelvora::platform
