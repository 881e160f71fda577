#include "KelvoraCore/KVMainQueue.h"

#include <utility>

#include "ports/Ports.h"

namespace kelvora {

void KVMainQueue::runUntil(std::chrono::steady_clock::time_point deadline) {
  platform::MainQueue& queue = Platform::current().mainQueue();
  if (!queue.isMainThread()) {
    return;
  }
  do {
    queue.waitForWork(deadline, {});
    queue.runPending();
  } while (std::chrono::steady_clock::now() < deadline);
}

int KVMainQueue::descriptor() { return Platform::current().mainQueue().descriptor(); }

int KVMainQueue::runPending() { return Platform::current().mainQueue().runPending(); }

void KVMainQueue::async(std::function<void()> work) {
  Platform::current().mainQueue().async(std::move(work));
}

}  // namespace kelvora
