#pragma once

#include "ports/MainQueue.h"

namespace kelvora::platform {

/// A queue that the host drains: it polls `descriptor()` and calls `runPending()`. All queues of
/// the process are drained as one, because a host knows that of one machine only. The main thread
/// is the one that made the first; on another `runPending()` runs nothing. Work that still waits
/// when its queue ends does not run.
class LinuxMainQueue : public MainQueue {
 public:
  /// Throws std::system_error when the system has no descriptors left.
  LinuxMainQueue();
  ~LinuxMainQueue() override;
  LinuxMainQueue(const LinuxMainQueue&) = delete;
  LinuxMainQueue& operator=(const LinuxMainQueue&) = delete;

  void async(std::function<void()> work) override;
  bool isMainThread() const override;
  void waitForWork(std::chrono::steady_clock::time_point deadline,
                   std::span<const int> descriptors) override;
  int runPending() override;
  int descriptor() const override;

 private:
  struct OfProcess;
  static OfProcess& ofProcess();

  OfProcess& process_;
};

}  // namespace kelvora::platform
