#include "platforms/linux/bus/BusMembership.h"

#include <chrono>
#include <utility>

#include "base/GrowingPause.h"

namespace kelvora::platform {

namespace {

// Before the next try to join a bus that is gone. A session without a bus costs next to nothing.
constexpr std::chrono::milliseconds kFirstRejoin{100};
constexpr std::chrono::milliseconds kLongestRejoin{10'000};

}  // namespace

BusMembership::BusMembership(std::function<void(const Notification&)> received,
                             std::function<void(bool)> changed)
    : received_(std::move(received)), changed_(std::move(changed)) {}

BusMembership::~BusMembership() {
  exitWork_.reset();
  end();
}

std::shared_ptr<NotificationBus> BusMembership::bus() {
  std::call_once(startOnce_, [this] { start(); });
  const std::lock_guard lock(mutex_);
  return isJoined() ? bus_ : nullptr;
}

void BusMembership::start() {
  // Registered before that of the connection: at the exit this object leaves the bus, instead of
  // finding its connection ended.
  exitWork_.emplace([this] { end(); });
  join();
  keeper_ = std::thread([this] { keepJoined(); });
}

void BusMembership::end() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  wake_.notify_all();
  if (keeper_.joinable()) {
    keeper_.join();
  }
  // Outside the lock: the end of the connection calls back.
  std::shared_ptr<NotificationBus> left;
  {
    const std::lock_guard lock(mutex_);
    left = std::exchange(bus_, nullptr);
  }
}

void BusMembership::keepJoined() {
  GrowingPause pause(kFirstRejoin);
  std::unique_lock lock(mutex_);
  while (!isEnding_) {
    if (isJoined()) {
      pause.restart();
      wake_.wait(lock, [this] { return isEnding_ || !isJoined(); });
    } else if (bus_ != nullptr) {
      leaveGoneBus(lock);
    } else if (!wake_.wait_for(lock, pause.next(kLongestRejoin), [this] { return isEnding_; })) {
      lock.unlock();
      if (join()) {
        changed_(true);
      }
      lock.lock();
    }
  }
}

void BusMembership::leaveGoneBus(std::unique_lock<std::mutex>& lock) {
  auto gone = std::exchange(bus_, nullptr);
  lock.unlock();
  gone.reset();
  changed_(false);
  lock.lock();
}

bool BusMembership::join() {
  std::shared_ptr<NotificationBus> joined = NotificationBus::open(received_, [this] {
    // The lock orders this after the keeper's last check.
    { const std::lock_guard lock(mutex_); }
    wake_.notify_all();
  });
  const std::lock_guard lock(mutex_);
  bus_ = std::move(joined);
  return bus_ != nullptr;
}

}  // namespace kelvora::platform
