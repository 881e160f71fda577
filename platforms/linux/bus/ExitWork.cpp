#include "platforms/linux/bus/ExitWork.h"

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

namespace kelvora::platform {

// No lock is held while work runs: it joins threads that may add and remove other work.
class ExitWork::Registry {
 public:
  static Registry& shared() {
    static Registry& registry = *new Registry();
    return registry;
  }

  void add(ExitWork* work) {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(work);
  }
  void remove(ExitWork* work) {
    std::unique_lock lock(mutex_);
    std::erase(waiting_, work);
    ended_.wait(lock, [&] { return running_ != work; });
  }

 private:
  Registry() {
    // The bus library makes the connection behind its variants with the first of them. That must
    // happen before this is registered, so that the connection is destroyed after the work.
    const sdbus::Variant first;
    std::atexit([] { shared().runAll(); });
  }
  void runAll() {
    std::unique_lock lock(mutex_);
    while (!waiting_.empty()) {
      running_ = waiting_.front();
      waiting_.erase(waiting_.begin());
      lock.unlock();
      running_->work_();
      lock.lock();
      running_ = nullptr;
      ended_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable ended_;
  std::vector<ExitWork*> waiting_;
  ExitWork* running_ = nullptr;
};

ExitWork::ExitWork(std::function<void()> work) : work_(std::move(work)) {
  Registry::shared().add(this);
}

ExitWork::~ExitWork() { Registry::shared().remove(this); }

}  // namespace kelvora::platform
