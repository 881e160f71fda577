#include "tests/macos/frameworks/Dispatch.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <poll.h>
#include <sys/eventfd.h>

#include "platforms/posix/PollTimeout.h"
#include "tests/macos/frameworks/Ledger.h"

using kelvora::testing::mac::Ledger;
using Work = std::function<void()>;

/// A queue or a source.
struct dispatch_object_s {
  virtual ~dispatch_object_s() = default;
};
struct dispatch_source_type_s {};

namespace {

class SerialQueue : public dispatch_object_s {
 public:
  explicit SerialQueue(std::string name) : label(std::move(name)), thread_([this] { run(); }) {}
  ~SerialQueue() override {
    {
      const std::lock_guard lock(mutex_);
      isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  void add(Work work) {
    {
      const std::lock_guard lock(mutex_);
      queued_.push_back(std::move(work));
    }
    changed_.notify_all();
  }
  bool isOwnThread() const { return thread_.get_id() == std::this_thread::get_id(); }

  const std::string label;

 private:
  void run() {
    std::unique_lock lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return isEnding_ || !queued_.empty(); });
      if (queued_.empty()) {
        return;
      }
      const Work work = std::move(queued_.front());
      queued_.pop_front();
      lock.unlock();
      work();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Work> queued_;
  bool isEnding_ = false;
  std::thread thread_;
};

class MainQueue : public dispatch_object_s {
 public:
  void add(Work work) {
    const std::lock_guard lock(mutex_);
    queued_.push_back(std::move(work));
    eventfd_write(event_, 1);
  }
  // What is queued now; nothing is queued afterwards.
  std::deque<Work> take() {
    const std::lock_guard lock(mutex_);
    eventfd_t count = 0;
    eventfd_read(event_, &count);
    return std::exchange(queued_, {});
  }
  std::size_t count() const {
    const std::lock_guard lock(mutex_);
    return queued_.size();
  }
  int descriptor() const { return event_; }

 private:
  mutable std::mutex mutex_;
  std::deque<Work> queued_;
  const int event_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

MainQueue& mainQueue() {
  static auto* const queue = new MainQueue();
  return *queue;
}

struct Source : public dispatch_object_s {
  int descriptor = -1;
  dispatch_function_t handler = nullptr;
  void* context = nullptr;
  bool isResumed = false;
  bool isInstalled = false;
  bool isCancelled = false;
};

// The sources of the main thread.
std::vector<Source*>& sources() {
  static auto* const all = new std::vector<Source*>();
  return *all;
}

// Whether work of the main queue runs: then the system runs no more of it, whoever runs a loop.
bool& isDraining() {
  static bool draining = false;
  return draining;
}

// No exception passes through the system.
void run(const std::deque<Work>& ready) noexcept {
  isDraining() = true;
  for (const Work& work : ready) {
    work();
  }
  isDraining() = false;
}

// Living objects, so that a use after the release is found.
class Living {
 public:
  static Living& shared() {
    static auto* const living = new Living();
    return *living;
  }
  void add(dispatch_object_s* object) {
    const std::lock_guard lock(mutex_);
    objects_.insert(object);
  }
  bool remove(dispatch_object_s* object) {
    const std::lock_guard lock(mutex_);
    return objects_.erase(object) > 0;
  }
  template <typename T>
  T* get(const std::string& function, dispatch_object_s* object) {
    const std::lock_guard lock(mutex_);
    T* found = objects_.contains(object) ? dynamic_cast<T*>(object) : nullptr;
    if (found == nullptr) {
      Ledger::misuse(function, "what was passed is no living object of the right kind");
    }
    return found;
  }

 private:
  std::mutex mutex_;
  std::set<dispatch_object_s*> objects_;
};

bool isLiving(const Source* source) {
  return std::ranges::find(sources(), source) != sources().end();
}

// What ran before it may have cancelled it.
void invoke(const Source* source) {
  if (isLiving(source) && !source->isCancelled) {
    source->handler(source->context);
  }
}

// What one turn of the main loop has to do: handlers of readable descriptors, and the main queue.
std::deque<Work> readyWork() {
  std::deque<Work> ready;
  for (const Source* source : sources()) {
    pollfd waiting{source->descriptor, POLLIN, 0};
    if (source->isInstalled && !source->isCancelled && poll(&waiting, 1, 0) > 0) {
      ready.emplace_back([source] { invoke(source); });
    }
  }
  for (Work& work : mainQueue().take()) {
    ready.push_back(std::move(work));
  }
  return ready;
}

void waitForWork(std::chrono::steady_clock::time_point deadline) {
  std::vector<pollfd> waiting{{mainQueue().descriptor(), POLLIN, 0}};
  for (const Source* source : sources()) {
    if (source->isInstalled && !source->isCancelled) {
      waiting.push_back({source->descriptor, POLLIN, 0});
    }
  }
  poll(waiting.data(), waiting.size(), kelvora::platform::pollTimeoutMs(deadline));
}

std::chrono::steady_clock::time_point deadlineIn(double seconds) {
  using Clock = std::chrono::steady_clock;
  constexpr double kForever = 1e9;
  if (seconds > kForever) {
    return Clock::time_point::max();
  }
  return Clock::now() +
         std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace

namespace kelvora::testing::mac {

Dispatch& Dispatch::shared() {
  static Dispatch dispatch;
  return dispatch;
}

void Dispatch::drainMainQueue() {
  Ledger::shared().requireMainThread("the main loop");
  for (auto ready = readyWork(); !ready.empty(); ready = readyWork()) {
    run(ready);
  }
}

void Dispatch::onMainLoop(std::function<void()> work) { mainQueue().add(std::move(work)); }

std::size_t Dispatch::queuedOnMain() const { return mainQueue().count(); }

}  // namespace kelvora::testing::mac

const dispatch_source_type_t DISPATCH_SOURCE_TYPE_READ = new dispatch_source_type_s();
const CFRunLoopMode kCFRunLoopDefaultMode = __CFStringMakeConstantString("kCFRunLoopDefaultMode");

dispatch_queue_t dispatch_get_main_queue() {
  Living::shared().add(&mainQueue());
  return &mainQueue();
}

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attributes) {
  Ledger::shared().called("dispatch_queue_create", label);
  if (attributes != DISPATCH_QUEUE_SERIAL) {
    Ledger::misuse("dispatch_queue_create", "the queue is not serial");
  }
  auto* queue = new SerialQueue(label);
  Living::shared().add(queue);
  Ledger::shared().opened("dispatch queue");
  return queue;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  Ledger::shared().counted("dispatch_async_f");
  if (queue == &mainQueue()) {
    mainQueue().add([=] { work(context); });
  } else if (auto* serial = Living::shared().get<SerialQueue>("dispatch_async_f", queue)) {
    serial->add([=] { work(context); });
  }
}

void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  Ledger::shared().counted("dispatch_sync_f");
  auto* serial = Living::shared().get<SerialQueue>("dispatch_sync_f", queue);
  if (serial == nullptr || serial->isOwnThread()) {
    Ledger::misuse("dispatch_sync_f", "the queue would wait for itself");
    return;
  }
  std::mutex mutex;
  std::condition_variable changed;
  bool isDone = false;
  serial->add([&] {
    work(context);
    const std::lock_guard lock(mutex);
    isDone = true;
    changed.notify_all();
  });
  std::unique_lock lock(mutex);
  changed.wait(lock, [&] { return isDone; });
}

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle,
                                         std::uintptr_t mask, dispatch_queue_t queue) {
  const bool fails = Ledger::shared().called("dispatch_source_create");
  if (type != DISPATCH_SOURCE_TYPE_READ || mask != 0 || queue != &mainQueue()) {
    Ledger::misuse("dispatch_source_create",
                   "the double knows only descriptors and the main queue");
  }
  Ledger::shared().requireMainThread("dispatch_source_create");
  if (fails) {
    return nullptr;
  }
  auto* source = new Source();
  source->descriptor = static_cast<int>(handle);
  sources().push_back(source);
  Living::shared().add(source);
  Ledger::shared().opened("dispatch source");
  return source;
}

void dispatch_source_set_event_handler_f(dispatch_source_t source, dispatch_function_t handler) {
  if (auto* found = Living::shared().get<Source>("dispatch_source_set_event_handler_f", source)) {
    found->handler = handler;
  }
}

void dispatch_set_context(dispatch_object_t object, void* context) {
  if (auto* found = Living::shared().get<Source>("dispatch_set_context", object)) {
    found->context = context;
  }
}

// The queue of a source begins to watch it, and ends that: work of the queue that the program did
// not queue.
void dispatch_resume(dispatch_object_t object) {
  if (auto* found = Living::shared().get<Source>("dispatch_resume", object)) {
    if (found->handler == nullptr || found->isResumed) {
      Ledger::misuse("dispatch_resume", "the source has no handler, or runs already");
    }
    found->isResumed = true;
    mainQueue().add([found] {
      if (isLiving(found)) {
        found->isInstalled = true;
      }
    });
  }
}

void dispatch_source_cancel(dispatch_source_t source) {
  if (auto* found = Living::shared().get<Source>("dispatch_source_cancel", source)) {
    found->isCancelled = true;
    mainQueue().add([] {});
  }
}

void dispatch_release(dispatch_object_t object) {
  if (!Living::shared().remove(object)) {
    Ledger::misuse("dispatch_release", "what was passed is no living object");
    return;
  }
  if (auto* source = dynamic_cast<Source*>(object)) {
    if (!source->isResumed) {
      Ledger::misuse("dispatch_release", "a suspended source is released");
    }
    std::erase(sources(), source);
    Ledger::shared().closed("dispatch source");
  } else {
    Ledger::shared().closed("dispatch queue");
  }
  delete object;
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled) {
  Ledger::shared().requireMainThread("CFRunLoopRunInMode");
  const bool fails = Ledger::shared().called("CFRunLoopRunInMode");
  if (mode != kCFRunLoopDefaultMode || returnAfterSourceHandled == 0 || seconds < 0) {
    Ledger::misuse("CFRunLoopRunInMode", "the double knows only one way to run");
  }
  if (fails) {
    return kCFRunLoopRunFinished;
  }
  const auto deadline = deadlineIn(seconds);
  if (isDraining()) {
    if (deadline == std::chrono::steady_clock::time_point::max()) {
      Ledger::misuse("CFRunLoopRunInMode", "within work of the main queue nothing ends this");
    } else {
      std::this_thread::sleep_until(deadline);
    }
    return kCFRunLoopRunTimedOut;
  }
  do {
    const auto ready = readyWork();
    run(ready);
    if (!ready.empty()) {
      return kCFRunLoopRunHandledSource;
    }
    waitForWork(deadline);
  } while (std::chrono::steady_clock::now() < deadline);
  return kCFRunLoopRunTimedOut;
}
