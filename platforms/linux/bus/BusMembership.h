#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "platforms/linux/bus/ExitWork.h"
#include "platforms/linux/bus/NotificationBus.h"

namespace kelvora::platform {

/// The process's connection to the session bus over time: joins on first use, and again after the
/// bus has gone or if it appears later, with pauses that grow from 0.1 to 10 seconds. Any thread.
class BusMembership {
 public:
  /// `received` is called with each notification, on a thread of the bus. `changed` is called with
  /// true after a later join and with false after the bus has gone, on a thread of this object; not
  /// for the first join. Both until the end of the object.
  BusMembership(std::function<void(const Notification&)> received,
                std::function<void(bool isJoined)> changed);
  ~BusMembership();
  BusMembership(const BusMembership&) = delete;
  BusMembership& operator=(const BusMembership&) = delete;

  /// The bus; null while the session has no bus. The first call joins before it returns.
  std::shared_ptr<NotificationBus> bus();

 private:
  void start();
  void end();
  void keepJoined();
  bool join();
  void leaveGoneBus(std::unique_lock<std::mutex>& lock);
  bool isJoined() const { return bus_ != nullptr && bus_->isConnected(); }

  std::function<void(const Notification&)> received_;
  std::function<void(bool)> changed_;
  std::once_flag startOnce_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::shared_ptr<NotificationBus> bus_;
  bool isEnding_ = false;
  std::thread keeper_;
  std::optional<ExitWork> exitWork_;
};

}  // namespace kelvora::platform
