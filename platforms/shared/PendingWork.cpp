#include "platforms/shared/PendingWork.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace kelvora::platform {

PendingWork::PendingWork(std::function<void()> added, std::function<void()> taken)
    : added_(std::move(added)), taken_(std::move(taken)) {}

void PendingWork::add(std::function<void()> work, const void* owner) {
  const std::lock_guard lock(mutex_);
  queued_.push_back({std::move(work), owner});
  added_();
}

bool PendingWork::isEmpty() const {
  const std::lock_guard lock(mutex_);
  return queued_.empty();
}

void PendingWork::clear(const void* owner) {
  std::vector<Piece> released;  // outside the lock: what work holds may call back
  const std::lock_guard lock(mutex_);
  const auto rest = std::stable_partition(
      queued_.begin(), queued_.end(), [owner](const Piece& piece) { return piece.owner != owner; });
  for (auto piece = rest; piece != queued_.end(); ++piece) {
    released.push_back(std::move(*piece));
    taken_();
  }
  queued_.erase(rest, queued_.end());
}

int PendingWork::run() {
  std::size_t pending = 0;
  {
    const std::lock_guard lock(mutex_);
    pending = queued_.size();
  }
  int ran = 0;
  for (; pending > 0; --pending) {
    // Work may run what is pending itself, which leaves less than was counted.
    const auto work = takeFirst();
    if (!work) {
      break;
    }
    work();
    ++ran;
  }
  return ran;
}

std::function<void()> PendingWork::takeFirst() {
  const std::lock_guard lock(mutex_);
  if (queued_.empty()) {
    return nullptr;
  }
  auto work = std::move(queued_.front().work);
  queued_.pop_front();
  taken_();
  return work;
}

}  // namespace kelvora::platform
