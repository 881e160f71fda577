#include "platforms/macos/system/MacMainQueue.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <utility>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <pthread.h>

namespace kelvora::platform {

namespace {

void doNothing(void*) {}

// In seconds before the difference: that to the ends of time overflows as a number of nanoseconds.
CFTimeInterval secondsUntil(std::chrono::steady_clock::time_point deadline) {
  using Seconds = std::chrono::duration<CFTimeInterval>;
  const Seconds end = deadline.time_since_epoch();
  const Seconds now = std::chrono::steady_clock::now().time_since_epoch();
  return (end - now).count();
}

// Makes the main queue run something, which ends a wait of its loop, while a descriptor is
// readable.
class Waking {
 public:
  explicit Waking(int descriptor) {
    source_ =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_READ, static_cast<std::uintptr_t>(descriptor),
                               0, dispatch_get_main_queue());
    if (source_ != nullptr) {
      dispatch_source_set_event_handler_f(source_, doNothing);
      dispatch_resume(source_);
    }
  }
  ~Waking() {
    if (source_ != nullptr) {
      dispatch_source_cancel(source_);
      dispatch_release(source_);
    }
  }
  Waking(const Waking&) = delete;
  Waking& operator=(const Waking&) = delete;

 private:
  dispatch_source_t source_ = nullptr;
};

std::vector<std::unique_ptr<Waking>> wakingBy(std::span<const int> descriptors) {
  std::vector<std::unique_ptr<Waking>> waking;
  for (const int descriptor : descriptors) {
    waking.push_back(std::make_unique<Waking>(descriptor));
  }
  return waking;
}

}  // namespace

// Only the main thread changes it.
struct MacMainQueue::State {
  int waits = 0;  // calls of waitForWork that are under way
  std::exception_ptr thrown;

  struct Work {
    std::function<void()> run;
    std::weak_ptr<State> queue;
  };

  // Exceptions must not pass through the system's frames.
  void run(const std::function<void()>& work) {
    if (waits == 0) {
      work();
      return;
    }
    try {
      work();
    } catch (...) {
      thrown = std::current_exception();
      CFRunLoopStop(CFRunLoopGetMain());
    }
  }

  static void runQueued(void* context) {
    std::unique_ptr<Work> work(static_cast<Work*>(context));
    const auto state = work->queue.lock();
    if (state != nullptr && state->thrown != nullptr) {
      // Again at the end, as all that is queued behind it: the order stays.
      dispatch_async_f(dispatch_get_main_queue(), work.release(), runQueued);
    } else if (state != nullptr) {
      state->run(work->run);
    }
  }

  void rethrow() {
    if (thrown != nullptr) {
      std::rethrow_exception(std::exchange(thrown, nullptr));
    }
  }
};

MacMainQueue::MacMainQueue() : state_(std::make_shared<State>()) {}

MacMainQueue::~MacMainQueue() = default;

void MacMainQueue::async(std::function<void()> work) {
  auto queued = std::make_unique<State::Work>(State::Work{std::move(work), state_});
  dispatch_async_f(dispatch_get_main_queue(), queued.release(), State::runQueued);
}

bool MacMainQueue::isMainThread() const { return pthread_main_np() != 0; }

void MacMainQueue::waitForWork(std::chrono::steady_clock::time_point deadline,
                               std::span<const int> descriptors) {
  const CFTimeInterval wait = secondsUntil(deadline);
  const std::vector<std::unique_ptr<Waking>> waking = wakingBy(descriptors);
  const std::shared_ptr<State> state = state_;
  ++state->waits;
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, std::max(wait, 0.0), true);
  --state->waits;
  state->rethrow();
}

}  // namespace kelvora::platform
