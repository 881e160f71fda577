#include "platforms/linux/system/LinuxMainQueue.h"

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>

#include "platforms/posix/PollTimeout.h"

namespace kelvora::platform {

LinuxMainQueue::LinuxMainQueue()
    : mainThread_(std::this_thread::get_id()),
      event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)),
      work_([this] { eventfd_write(event_.get(), 1); },
            [this] {
              eventfd_t taken = 0;
              eventfd_read(event_.get(), &taken);
            }) {
  if (!event_.isOpen()) {
    throw std::system_error(errno, std::generic_category(), "main queue");
  }
}

void LinuxMainQueue::async(std::function<void()> work) { work_.add(std::move(work)); }

bool LinuxMainQueue::isMainThread() const { return std::this_thread::get_id() == mainThread_; }

void LinuxMainQueue::waitForWork(std::chrono::steady_clock::time_point deadline,
                                 std::span<const int> descriptors) {
  std::vector<pollfd> waiting{{event_.get(), POLLIN, 0}};
  for (const int descriptor : descriptors) {
    waiting.push_back({descriptor, POLLIN, 0});
  }
  poll(waiting.data(), waiting.size(), pollTimeoutMs(deadline));
}

int LinuxMainQueue::runPending() { return isMainThread() ? work_.run() : 0; }

int LinuxMainQueue::descriptor() const { return event_.get(); }

}  // namespace kelvora::platform
