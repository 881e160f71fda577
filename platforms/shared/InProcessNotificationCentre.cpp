#include "platforms/shared/InProcessNotificationCentre.h"

#include <atomic>
#include <utility>

namespace kelvora::platform {

struct InProcessNotificationCentre::Observer {
  ObserverToken token;
  std::string name;
  std::function<void(const Notification&)> handler;
  std::atomic<bool> isRemoved = false;

  Observer(ObserverToken newToken, std::string observed,
           std::function<void(const Notification&)> callback)
      : token(newToken), name(std::move(observed)), handler(std::move(callback)) {}

  void deliver(const Notification& notification) const {
    if (!isRemoved && handler) {
      handler(notification);
    }
  }
};

InProcessNotificationCentre::InProcessNotificationCentre(MainQueue* deliveryQueue)
    : deliveryQueue_(deliveryQueue) {}

// What is still queued for delivery is dropped.
InProcessNotificationCentre::~InProcessNotificationCentre() {
  for (const auto& observer : observers_) {
    observer->isRemoved = true;
  }
}

ObserverToken InProcessNotificationCentre::addObserver(
    const std::string& name, SuspensionBehavior, std::function<void(const Notification&)> handler) {
  const std::lock_guard lock(mutex_);
  observers_.push_back(std::make_shared<Observer>(++lastToken_, name, std::move(handler)));
  return lastToken_;
}

void InProcessNotificationCentre::removeObserver(ObserverToken token) {
  // Released outside the lock: what the handler holds may call back.
  std::shared_ptr<Observer> removed;
  const std::lock_guard lock(mutex_);
  for (auto observer = observers_.begin(); observer != observers_.end(); ++observer) {
    if ((*observer)->token == token) {
      removed = std::move(*observer);
      removed->isRemoved = true;
      observers_.erase(observer);
      return;
    }
  }
}

void InProcessNotificationCentre::post(const Notification& notification, bool) {
  for (const auto& observer : observersOf(notification.name)) {
    if (deliveryQueue_ == nullptr) {
      observer->deliver(notification);
    } else {
      deliveryQueue_->async([observer, notification] { observer->deliver(notification); });
    }
  }
}

std::vector<std::shared_ptr<InProcessNotificationCentre::Observer>>
InProcessNotificationCentre::observersOf(const std::string& name) {
  const std::lock_guard lock(mutex_);
  std::vector<std::shared_ptr<Observer>> result;
  for (const auto& observer : observers_) {
    if (observer->name == name) {
      result.push_back(observer);
    }
  }
  return result;
}

}  // namespace kelvora::platform
