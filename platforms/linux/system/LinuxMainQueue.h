#pragma once

#include <thread>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/shared/PendingWork.h"
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
  std::thread::id mainThread_;
  FileDescriptor event_;  // counts what is queued
  PendingWork work_;
};

}  // namespace kelvora::platform
