#include "KelvoraCore/KVSerialQueue.h"

#include <utility>

#include <dispatch/dispatch.h>

namespace kelvora {

namespace {

using Work = std::function<void()>;

// An exception ends the process here: it must not pass through the system's frames.
void run(void* context) noexcept {
  const std::unique_ptr<Work> work(static_cast<Work*>(context));
  (*work)();
}

void doNothing(void*) {}

}  // namespace

struct KVSerialQueue::Implementation {
  std::string label;
  dispatch_queue_t queue;

  explicit Implementation(std::string name)
      : label(std::move(name)),
        queue(dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL)) {}
  ~Implementation() {
    dispatch_sync_f(queue, nullptr, doNothing);  // behind all that is queued
    dispatch_release(queue);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  void add(Work work) {
    auto queued = std::make_unique<Work>(std::move(work));
    dispatch_async_f(queue, queued.release(), run);
  }
};

KVSerialQueue::KVSerialQueue(std::string label)
    : implementation_(std::make_unique<Implementation>(std::move(label))) {}

KVSerialQueue::~KVSerialQueue() = default;

const std::string& KVSerialQueue::label() const { return implementation_->label; }

void KVSerialQueue::async(std::function<void()> work) {
  if (work) {
    implementation_->add(std::move(work));
  }
}

}  // namespace kelvora
