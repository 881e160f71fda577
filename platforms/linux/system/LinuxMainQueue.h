#pragma once

#include <deque>
#include <mutex>
#include <thread>

#include "platforms/posix/FileDescriptor.h"
#include "ports/MainQueue.h"

namespace kelvora::platform {

/// A queue that the host drains: it polls `descriptor()` and calls `runPending()`. The main thread
/// is the one that made the queue; on another `runPending()` runs nothing.
class LinuxMainQueue : public MainQueue {
 public:
  /// Throws std::system_error when the system has no descriptors left.
  LinuxMainQueue();
  void async(std::function<void()> work) override;
  bool isMainThread() const override;
  void waitForWork(std::chrono::steady_clock::time_point deadline,
                   std::span<const int> descriptors) override;
  int runPending() override;
  int descriptor() const override;

 private:
  std::function<void()> takeFirst();

  std::thread::id mainThread_;
  FileDescriptor event_;  // counts what is queued
  std::mutex mutex_;
  std::deque<std::function<void()>> queued_;
};

}  // namespace kelvora::platform
