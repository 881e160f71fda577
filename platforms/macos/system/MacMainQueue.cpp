#include "platforms/macos/system/MacMainQueue.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <pthread.h>

#include "platforms/shared/PendingWork.h"

namespace kelvora::platform {

namespace {

// In seconds before the difference: that to the ends of time overflows as a number of nanoseconds.
CFTimeInterval secondsUntil(std::chrono::steady_clock::time_point deadline) {
  using Seconds = std::chrono::duration<CFTimeInterval>;
  const Seconds end = deadline.time_since_epoch();
  const Seconds now = std::chrono::steady_clock::now().time_since_epoch();
  return std::max((end - now).count(), 0.0);
}

void setTrue(void* flag) { *static_cast<bool*>(flag) = true; }

// Sets a flag on the main queue while a descriptor is readable.
class Waking {
 public:
  Waking(int descriptor, bool& isReadable) {
    source_ =
        dispatch_source_create(DISPATCH_SOURCE_TYPE_READ, static_cast<std::uintptr_t>(descriptor),
                               0, dispatch_get_main_queue());
    if (source_ != nullptr) {
      dispatch_set_context(source_, &isReadable);
      dispatch_source_set_event_handler_f(source_, setTrue);
      dispatch_resume(source_);
    }
  }
  ~Waking() {
    // On the queue of the handler, so that the flag is not set afterwards.
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

std::vector<std::unique_ptr<Waking>> wakingBy(std::span<const int> descriptors, bool& isReadable) {
  std::vector<std::unique_ptr<Waking>> waking;
  for (const int descriptor : descriptors) {
    waking.push_back(std::make_unique<Waking>(descriptor, isReadable));
  }
  return waking;
}

}  // namespace

struct MacMainQueue::State : public std::enable_shared_from_this<State> {
  int waits = 0;  // calls of waitForWork that are under way; only the main thread changes it
  PendingWork work{[this] { announce(); }};

  // Work that was left queued still runs if a loop of the host comes next.
  void announceWhatIsLeft() {
    if (!work.isEmpty()) {
      announce();
    }
  }

 private:
  using Weak = std::weak_ptr<State>;

  void announce() {
    if (!isAnnounced_.exchange(true)) {
      auto queue = std::make_unique<Weak>(weak_from_this());
      dispatch_async_f(dispatch_get_main_queue(), queue.release(), runAnnounced);
    }
  }

  static void runAnnounced(void* context) {
    const std::unique_ptr<Weak> queue(static_cast<Weak*>(context));
    const auto state = queue->lock();
    if (state == nullptr) {
      return;
    }
    // Before the work is counted: whoever adds some afterwards announces it.
    state->isAnnounced_ = false;
    // A wait ends instead, and its caller runs the work: no exception passes through the system.
    if (state->waits == 0) {
      state->work.run();
    }
  }

  std::atomic<bool> isAnnounced_ = false;  // the system's main queue has a call of runAnnounced
};

MacMainQueue::MacMainQueue() : state_(std::make_shared<State>()) {}

MacMainQueue::~MacMainQueue() { state_->work.clear(); }

void MacMainQueue::async(std::function<void()> work) { state_->work.add(std::move(work)); }

bool MacMainQueue::isMainThread() const { return pthread_main_np() != 0; }

int MacMainQueue::runPending() {
  const std::shared_ptr<State> state = state_;  // work may end this object
  return isMainThread() ? state->work.run() : 0;
}

void MacMainQueue::waitForWork(std::chrono::steady_clock::time_point deadline,
                               std::span<const int> descriptors) {
  bool isReadable = false;
  const auto waking = wakingBy(descriptors, isReadable);
  const std::shared_ptr<State> state = state_;
  SInt32 result = kCFRunLoopRunHandledSource;
  CFTimeInterval wait = 0;
  ++state->waits;
  // The loop also ends for sources of the system, among them the beginning and the end of `waking`.
  do {
    wait = state->work.isEmpty() ? secondsUntil(deadline) : 0;
    result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, wait, true);
  } while (result == kCFRunLoopRunHandledSource && wait > 0 && !isReadable &&
           state->work.isEmpty());
  --state->waits;
  state->announceWhatIsLeft();
}

}  // namespace kelvora::platform
