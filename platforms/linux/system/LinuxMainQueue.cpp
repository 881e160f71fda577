#include "platforms/linux/system/LinuxMainQueue.h"

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>

#include "platforms/posix/PollTimeout.h"

namespace kelvora::platform {

LinuxMainQueue::LinuxMainQueue()
    : mainThread_(std::this_thread::get_id()),
      event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
  if (!event_.isOpen()) {
    throw std::system_error(errno, std::generic_category(), "main queue");
  }
}

void LinuxMainQueue::async(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  queued_.push_back(std::move(work));
  eventfd_write(event_.get(), 1);
}

bool LinuxMainQueue::isMainThread() const { return std::this_thread::get_id() == mainThread_; }

void LinuxMainQueue::waitForWork(std::chrono::steady_clock::time_point deadline,
                                 std::span<const int> descriptors) {
  std::vector<pollfd> waiting{{event_.get(), POLLIN, 0}};
  for (const int descriptor : descriptors) {
    waiting.push_back({descriptor, POLLIN, 0});
  }
  poll(waiting.data(), waiting.size(), pollTimeoutMs(deadline));
}

int LinuxMainQueue::runPending() {
  if (!isMainThread()) {
    return 0;
  }
  std::size_t pending = 0;
  {
    const std::lock_guard lock(mutex_);
    pending = queued_.size();
  }
  int ran = 0;
  for (; pending > 0; --pending) {
    // Work may call runPending itself, which leaves less than was counted.
    const auto work = takeFirst();
    if (!work) {
      break;
    }
    work();
    ++ran;
  }
  return ran;
}

int LinuxMainQueue::descriptor() const { return event_.get(); }

std::function<void()> LinuxMainQueue::takeFirst() {
  const std::lock_guard lock(mutex_);
  if (queued_.empty()) {
    return nullptr;
  }
  auto work = std::move(queued_.front());
  queued_.pop_front();
  eventfd_t taken = 0;
  eventfd_read(event_.get(), &taken);
  return work;
}

}  // namespace kelvora::platform
