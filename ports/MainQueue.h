#pragma once

#include <functional>

namespace kelvora::platform {

/// Work for the main thread, in order. The main thread is the one that first touched the queue.
class MainQueue {
 public:
  virtual ~MainQueue() = default;
  /// Queues `work` to run later on the main thread; returns at once, also on the main thread.
  virtual void async(std::function<void()> work) = 0;
  /// Whether the calling thread is the main thread.
  virtual bool isMainThread() const = 0;
  /// Runs what is queued now, on the main thread; work that it queues waits for the next call.
  /// Answers how many ran. A system whose own loop drains the queue answers 0.
  virtual int runPending() = 0;
  /// A descriptor that is readable while work is queued, for the host's poll loop; -1 where the
  /// system's own loop drains the queue. Owned by the queue.
  virtual int descriptor() const = 0;
};

}  // namespace kelvora::platform
