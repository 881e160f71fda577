#include "platforms/linux/system/LinuxMainQueue.h"

#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/PollTimeout.h"
#include "platforms/shared/PendingWork.h"

namespace kelvora::platform {

struct LinuxMainQueue::OfProcess {
  OfProcess() {
    if (!event.isOpen()) {
      throw std::system_error(errno, std::generic_category(), "main queue");
    }
  }

  const std::thread::id mainThread = std::this_thread::get_id();
  const FileDescriptor event{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)};
  // The event counts what is queued.
  PendingWork work{[this] { eventfd_write(event.get(), 1); },
                   [this] {
                     eventfd_t taken = 0;
                     eventfd_read(event.get(), &taken);
                   }};
};

// Never destroyed: a thread may queue work until the very end of the process.
LinuxMainQueue::OfProcess& LinuxMainQueue::ofProcess() {
  static auto* const process = new OfProcess;
  return *process;
}

LinuxMainQueue::LinuxMainQueue() : process_(ofProcess()) {}

LinuxMainQueue::~LinuxMainQueue() { process_.work.clear(this); }

void LinuxMainQueue::async(std::function<void()> work) { process_.work.add(std::move(work), this); }

bool LinuxMainQueue::isMainThread() const {
  return std::this_thread::get_id() == process_.mainThread;
}

void LinuxMainQueue::waitForWork(std::chrono::steady_clock::time_point deadline,
                                 std::span<const int> descriptors) {
  std::vector<pollfd> waiting{{process_.event.get(), POLLIN, 0}};
  for (const int descriptor : descriptors) {
    waiting.push_back({descriptor, POLLIN, 0});
  }
  poll(waiting.data(), waiting.size(), pollTimeoutMs(deadline));
}

int LinuxMainQueue::runPending() { return isMainThread() ? process_.work.run() : 0; }

int LinuxMainQueue::descriptor() const { return process_.event.get(); }

}  // namespace kelvora::platform
