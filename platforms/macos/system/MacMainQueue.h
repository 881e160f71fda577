#pragma once

#include <memory>

#include "ports/MainQueue.h"

namespace kelvora::platform {

/// Work for the main thread, announced to the system's main queue. A loop of the host runs it from
/// there, and what it throws then ends the process; `runPending` runs it at once. Work that is
/// still queued when this object ends does not run.
class MacMainQueue : public MainQueue {
 public:
  MacMainQueue();
  ~MacMainQueue() override;

  void async(std::function<void()> work) override;
  /// The first thread of the process.
  bool isMainThread() const override;
  int runPending() override;
  int descriptor() const override { return -1; }
  /// Runs the run loop of the main thread: notices and replies of the system arrive. Queued work
  /// ends the wait and stays queued.
  void waitForWork(std::chrono::steady_clock::time_point deadline,
                   std::span<const int> descriptors) override;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace kelvora::platform
