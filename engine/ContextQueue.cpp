#include "engine/ContextQueue.h"

#include <exception>
#include <future>
#include <utility>

#include "KelvoraCore/KVSerialQueue.h"

#include "ports/MainQueue.h"

namespace kelvora::engine {

void MainContextQueue::performAndWait(const std::function<void()>& work) {
  if (queue_.isMainThread()) {
    work();
    return;
  }
  std::promise<void> done;
  queue_.async([&] {
    try {
      work();
      done.set_value();
    } catch (...) {
      done.set_exception(std::current_exception());
    }
  });
  done.get_future().get();
}

void MainContextQueue::perform(std::function<void()> work) { queue_.async(std::move(work)); }

bool PrivateContextQueue::Turns::isMine() {
  const std::lock_guard lock(mutex_);
  return owner_ == std::this_thread::get_id();
}

std::uint64_t PrivateContextQueue::Turns::take() {
  const std::lock_guard lock(mutex_);
  return next_++;
}

void PrivateContextQueue::Turns::run(std::uint64_t turn, const std::function<void()>& work) {
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return current_ == turn; });
    owner_ = std::this_thread::get_id();
  }
  try {
    work();
  } catch (...) {
    end();
    throw;
  }
  end();
}

void PrivateContextQueue::Turns::end() {
  {
    const std::lock_guard lock(mutex_);
    owner_ = {};
    ++current_;
  }
  changed_.notify_all();
}

PrivateContextQueue::PrivateContextQueue() : turns_(std::make_shared<Turns>()) {}

PrivateContextQueue::~PrivateContextQueue() {
  if (later_ != nullptr && turns_->isMine()) {
    // The last reference was held by work on this queue, and the queue cannot wait for itself.
    std::thread([queue = std::move(later_)]() mutable { queue.reset(); }).detach();
  }
}

void PrivateContextQueue::performAndWait(const std::function<void()>& work) {
  if (turns_->isMine()) {
    work();
    return;
  }
  turns_->run(turns_->take(), work);
}

void PrivateContextQueue::perform(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  if (later_ == nullptr) {
    later_ = std::make_unique<KVSerialQueue>("Managed Object Context");
  }
  later_->async([turns = turns_, turn = turns_->take(), work = std::move(work)]() mutable {
    // What the work holds is released within its turn.
    turns->run(turn, [&] {
      work();
      work = nullptr;
    });
  });
}

}  // namespace kelvora::engine
