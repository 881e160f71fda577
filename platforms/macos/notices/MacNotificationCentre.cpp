#include "platforms/macos/notices/MacNotificationCentre.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <map>
#include <utility>

#include "platforms/macos/CFValues.h"

namespace kelvora::platform {

namespace {

struct Observer {
  std::function<void(const Notification&)> handler;
  MainQueue* queue = nullptr;
  std::atomic<bool> isRemoved = false;

  void deliver(const Notification& notification) const {
    if (!isRemoved && handler) {
      handler(notification);
    }
  }
};

// The system calls back with a number, not with an address: an observer may end meanwhile on
// another thread.
class Observers {
 public:
  static Observers& shared() {
    static auto* const observers = new Observers();
    return *observers;
  }

  ObserverToken add(std::shared_ptr<Observer> observer) {
    const std::lock_guard lock(mutex_);
    observers_.emplace(++lastToken_, std::move(observer));
    return lastToken_;
  }

  std::shared_ptr<Observer> find(ObserverToken token) {
    const std::lock_guard lock(mutex_);
    const auto found = observers_.find(token);
    return found == observers_.end() ? nullptr : found->second;
  }

  void remove(ObserverToken token) {
    // Released outside the lock: what the handler holds may call back.
    const auto observer = find(token);
    if (observer != nullptr) {
      observer->isRemoved = true;
    }
    const std::lock_guard lock(mutex_);
    observers_.erase(token);
  }

 private:
  std::mutex mutex_;
  std::map<ObserverToken, std::shared_ptr<Observer>> observers_;
  ObserverToken lastToken_ = 0;
};

void* asPointer(ObserverToken token) {
  return std::bit_cast<void*>(static_cast<std::uintptr_t>(token));
}

// On this process's own centre the object and the user info may be of any kind.
Notification notificationOf(CFNotificationName name, const void* object, CFDictionaryRef userInfo) {
  Notification notification;
  notification.name = textOf(name);
  if (const CFStringRef text = asText(object); text != nullptr) {
    notification.object = textOf(text);
  }
  if (userInfo != nullptr) {
    notification.userInfo = dictionaryOf(userInfo);
  }
  return notification;
}

// An exception ends the process here: it must not pass through the system's frames.
void received(CFNotificationCenterRef, void* token, CFNotificationName name, const void* object,
              CFDictionaryRef userInfo) noexcept {
  const auto observer =
      Observers::shared().find(static_cast<ObserverToken>(reinterpret_cast<std::uintptr_t>(token)));
  if (observer == nullptr) {
    return;
  }
  Notification notification = notificationOf(name, object, userInfo);
  if (observer->queue == nullptr) {
    observer->deliver(notification);
  } else {
    observer->queue->async(
        [observer, notification = std::move(notification)] { observer->deliver(notification); });
  }
}

}  // namespace

MacNotificationCentre::MacNotificationCentre(CFNotificationCenterRef centre, MainQueue* queue)
    : centre_(centre), queue_(queue) {}

MacNotificationCentre::~MacNotificationCentre() {
  for (const ObserverToken token : tokens_) {
    CFNotificationCenterRemoveEveryObserver(centre_, asPointer(token));
    Observers::shared().remove(token);
  }
}

ObserverToken MacNotificationCentre::addObserver(const std::string& name, SuspensionBehavior,
                                                 std::function<void(const Notification&)> handler) {
  auto observer = std::make_shared<Observer>();
  observer->handler = std::move(handler);
  observer->queue = queue_;
  const ObserverToken token = Observers::shared().add(std::move(observer));
  {
    const std::lock_guard lock(mutex_);
    tokens_.insert(token);
  }
  // Without a name it would observe everything. What Foundation does by default is to coalesce.
  if (const auto text = makeText(name)) {
    CFNotificationCenterAddObserver(centre_, asPointer(token), received, text.get(), nullptr,
                                    CFNotificationSuspensionBehaviorCoalesce);
  }
  return token;
}

void MacNotificationCentre::removeObserver(ObserverToken token) {
  {
    const std::lock_guard lock(mutex_);
    if (tokens_.erase(token) == 0) {
      return;
    }
  }
  CFNotificationCenterRemoveEveryObserver(centre_, asPointer(token));
  Observers::shared().remove(token);
}

void MacNotificationCentre::post(const Notification& notification, bool deliverImmediately) {
  const auto name = makeText(notification.name);
  const auto object = notification.object ? makeText(*notification.object) : CFOwned<CFStringRef>();
  const auto userInfo =
      notification.userInfo ? makeObject(*notification.userInfo) : CFOwned<CFPropertyListRef>();
  if (name) {
    CFNotificationCenterPostNotification(centre_, name.get(), object.get(),
                                         asDictionary(userInfo.get()), deliverImmediately);
  }
}

}  // namespace kelvora::platform
