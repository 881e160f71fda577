#include "KelvoraCore/KVSerialQueue.h"

#include <utility>

#include "platform/SerialQueue.h"

namespace kelvora {

struct KVSerialQueue::Implementation {
  explicit Implementation(std::string label) : queue(std::move(label)) {}
  platform::SerialQueue queue;
};

KVSerialQueue::KVSerialQueue(std::string label)
    : implementation_(std::make_unique<Implementation>(std::move(label))) {}

KVSerialQueue::~KVSerialQueue() = default;

const std::string& KVSerialQueue::label() const { return implementation_->queue.label(); }

void KVSerialQueue::async(std::function<void()> work) {
  implementation_->queue.async(std::move(work));
}

void KVSerialQueue::sync(const std::function<void()>& work) { implementation_->queue.sync(work); }

}  // namespace kelvora
