#pragma once

#include <chrono>
#include <functional>

#include <poll.h>

#include "ports/MainQueue.h"

namespace kelvora::testing {

/// A host's loop: runs the main queue until `done` returns true. False if that takes too long for
/// any machine.
inline bool runUntil(platform::MainQueue& queue, const std::function<bool()>& done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    pollfd waiting{queue.descriptor(), POLLIN, 0};
    poll(&waiting, 1, 100);
    queue.runPending();
  }
  return true;
}

/// Runs what is queued, and what that queues, until nothing is left.
inline void runDry(platform::MainQueue& queue) {
  while (queue.runPending() > 0) {
  }
}

}  // namespace kelvora::testing
