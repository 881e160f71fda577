#include <future>

#include "KelvoraCore/KVSerialQueue.h"

namespace kelvora {

// On the queue's own thread on every system: dispatch_sync_f would run the work on the thread that
// waits.
void KVSerialQueue::sync(const std::function<void()>& work) {
  std::packaged_task<void()> task(work);
  std::future<void> done = task.get_future();
  async([&task] { task(); });
  done.get();
}

}  // namespace kelvora
