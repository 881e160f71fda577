#include "KelvoraCore/KVSerialQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include <pthread.h>

namespace kelvora {

namespace {

// The kernel keeps fifteen characters of a thread's name.
constexpr std::size_t kLongestThreadName = 15;

}  // namespace

struct KVSerialQueue::Implementation {
  std::string label;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::function<void()>> queued;
  bool isEnding = false;
  std::thread thread;  // none before the first work

  explicit Implementation(std::string name) : label(std::move(name)) {}

  void start() {
    thread = std::thread([this] { run(); });
    pthread_setname_np(thread.native_handle(), label.substr(0, kLongestThreadName).c_str());
  }

  void run() {
    std::unique_lock lock(mutex);
    while (true) {
      changed.wait(lock, [this] { return isEnding || !queued.empty(); });
      if (queued.empty()) {
        return;
      }
      {
        const auto work = std::move(queued.front());
        queued.pop_front();
        lock.unlock();
        work();
      }
      lock.lock();
    }
  }

  void add(std::function<void()> work) {
    const std::lock_guard lock(mutex);
    if (!thread.joinable()) {
      start();
    }
    queued.push_back(std::move(work));
    changed.notify_one();
  }

  void end() {
    {
      const std::lock_guard lock(mutex);
      isEnding = true;
      changed.notify_one();
    }
    if (thread.joinable()) {
      thread.join();
    }
  }
};

KVSerialQueue::KVSerialQueue(std::string label)
    : implementation_(std::make_unique<Implementation>(std::move(label))) {}

KVSerialQueue::~KVSerialQueue() { implementation_->end(); }

const std::string& KVSerialQueue::label() const { return implementation_->label; }

void KVSerialQueue::async(std::function<void()> work) {
  if (work) {
    implementation_->add(std::move(work));
  }
}

}  // namespace kelvora
