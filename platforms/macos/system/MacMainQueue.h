#pragma once

#include <memory>

#include "ports/MainQueue.h"

namespace kelvora::platform {

/// The system's main queue, which the run loop of the main thread drains. Work that is still queued
/// when this object ends does not run. What work throws leaves `waitForWork`, and later work stays
/// queued; while a loop of the host runs, it ends the process.
class MacMainQueue : public MainQueue {
 public:
  MacMainQueue();
  ~MacMainQueue() override;

  void async(std::function<void()> work) override;
  /// The first thread of the process.
  bool isMainThread() const override;
  int runPending() override { return 0; }
  int descriptor() const override { return -1; }
  /// Runs the run loop of the main thread.
  void waitForWork(std::chrono::steady_clock::time_point deadline,
                   std::span<const int> descriptors) override;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace kelvora::platform
