#include "KelvoraCore/NotificationObserver.h"

#include <atomic>
#include <utility>

#include "ports/Ports.h"

namespace kelvora {

namespace {

// The handler outlives its observer while a call is under way or queued.
struct Subscription {
  NotificationObserver::Handler handler;
  std::atomic<bool> isActive{true};
};

void deliver(const std::shared_ptr<Subscription>& subscription, const Notification& notification) {
  if (subscription->isActive) {
    subscription->handler(notification);
  }
}

}  // namespace

class NotificationObserver::Observation {
 public:
  Observation(const std::string& name, Handler handler, Platform& platform)
      : centres_(platform.notificationCentres()) {
    subscription_->handler = std::move(handler);
    distributed_ = centres_.distributed().addObserver(
        name, platform::SuspensionBehavior::kDefault,
        [subscription = subscription_](const Notification& notification) {
          // A copy, because a handler may end this
          // observation and this lambda with it.
          deliver(std::shared_ptr(subscription), notification);
        });
    inProcess_ = centres_.inProcess().addObserver(
        name, platform::SuspensionBehavior::kDefault,
        [subscription = subscription_,
         &queue = platform.mainQueue()](const Notification& notification) {
          queue.async([subscription, notification] { deliver(subscription, notification); });
        });
  }
  ~Observation() {
    subscription_->isActive = false;
    centres_.distributed().removeObserver(distributed_);
    centres_.inProcess().removeObserver(inProcess_);
  }
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;

 private:
  platform::NotificationCentres& centres_;
  std::shared_ptr<Subscription> subscription_ = std::make_shared<Subscription>();
  platform::ObserverToken distributed_ = 0;
  platform::ObserverToken inProcess_ = 0;
};

NotificationObserver::NotificationObserver(const std::string& name, Handler handler,
                                           Platform& platform)
    : observation_(std::make_unique<Observation>(name, std::move(handler), platform)) {}

NotificationObserver::~NotificationObserver() = default;
NotificationObserver::NotificationObserver(NotificationObserver&& other) noexcept = default;
NotificationObserver& NotificationObserver::operator=(NotificationObserver&& other) noexcept =
    default;

bool NotificationObserver::reachesOtherPrograms(Platform& platform) {
  return platform.notificationCentres().reachesOtherProcesses();
}

}  // namespace kelvora
