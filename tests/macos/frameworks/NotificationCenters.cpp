#include "tests/macos/frameworks/NotificationCenters.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

#include "platforms/macos/CFValues.h"
#include "tests/macos/frameworks/Dispatch.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

struct Observation {
  const void* observer;
  CFNotificationCallback callBack;
  std::string name;
};

class Center : public Object {
 public:
  Center(std::string title, bool reachesAll)
      : Object("CFNotificationCenter"), name(std::move(title)), isDistributed(reachesAll) {}
  std::string described() const override { return name; }

  void add(Observation observation) {
    const std::lock_guard lock(mutex_);
    observations_.push_back(std::move(observation));
    Ledger::shared().opened("observation");
  }
  void removeEvery(const void* observer) {
    const std::lock_guard lock(mutex_);
    const auto count = std::erase_if(
        observations_, [&](const Observation& each) { return each.observer == observer; });
    for (std::size_t i = 0; i < count; ++i) {
      Ledger::shared().closed("observation");
    }
  }
  std::vector<Observation> observationsOf(const std::string& notice) {
    const std::lock_guard lock(mutex_);
    std::vector<Observation> found;
    for (const Observation& each : observations_) {
      if (each.name == notice) {
        found.push_back(each);
      }
    }
    return found;
  }

  const std::string name;
  const bool isDistributed;

 private:
  std::mutex mutex_;
  std::vector<Observation> observations_;
};

Center& distributed() {
  static auto* const center = Objects::shared().createHeld<Center>("distributed", true);
  return *center;
}

Center& local() {
  static auto* const center = Objects::shared().createHeld<Center>("local", false);
  return *center;
}

/// An object that the callee may look at while the call lasts.
class Lent {
 public:
  explicit Lent(CFTypeRef owned) : object_(owned) {}
  ~Lent() {
    if (object_ != nullptr) {
      CFRelease(object_);
    }
  }
  Lent(const Lent&) = delete;
  Lent& operator=(const Lent&) = delete;
  CFTypeRef get() const { return object_; }

 private:
  CFTypeRef object_;
};

void deliver(Center& center, const Notification& notification, CFTypeRef object) {
  const Lent name(newString(notification.name));
  const Lent userInfo(notification.userInfo ? newObject(*notification.userInfo) : nullptr);
  for (const Observation& each : center.observationsOf(notification.name)) {
    each.callBack(referenceTo<CFNotificationCenterRef>(&center), const_cast<void*>(each.observer),
                  static_cast<CFStringRef>(name.get()), object,
                  static_cast<CFDictionaryRef>(userInfo.get()));
  }
}

void deliver(Center& center, const Notification& notification) {
  const Lent object(notification.object ? newString(*notification.object) : nullptr);
  deliver(center, notification, object.get());
}

// What is held back while the program is suspended: of each name the last.
struct HeldBack {
  bool isSuspended = false;
  std::vector<Notification> notices;
};

HeldBack& heldBack() {
  static auto* const held = new HeldBack();
  return *held;
}

void arrive(const Notification& notification, bool deliverImmediately) {
  Dispatch::shared().onMainLoop([notification, deliverImmediately] {
    if (!heldBack().isSuspended || deliverImmediately) {
      deliver(distributed(), notification);
      return;
    }
    std::erase_if(heldBack().notices,
                  [&](const Notification& each) { return each.name == notification.name; });
    heldBack().notices.push_back(notification);
  });
}

}  // namespace

NotificationCenters& NotificationCenters::shared() {
  static NotificationCenters centers;
  return centers;
}

void NotificationCenters::reset() { heldBack() = {}; }

void NotificationCenters::postByOther(const Notification& notification, bool deliverImmediately) {
  arrive(notification, deliverImmediately);
}

void NotificationCenters::postLocally(const Notification& notification) {
  const Lent sender(newObject(true));
  deliver(local(), notification, sender.get());
}

void NotificationCenters::setSuspended(bool suspended) {
  heldBack().isSuspended = suspended;
  if (!suspended) {
    for (const Notification& notification : std::exchange(heldBack().notices, {})) {
      arrive(notification, true);
    }
  }
}

}  // namespace kelvora::testing::mac

using kelvora::Notification;
using namespace kelvora::testing::mac;  // NOLINT: the functions of the system are global

CFNotificationCenterRef CFNotificationCenterGetDistributedCenter() {
  return referenceTo<CFNotificationCenterRef>(&distributed());
}

CFNotificationCenterRef CFNotificationCenterGetLocalCenter() {
  return referenceTo<CFNotificationCenterRef>(&local());
}

void CFNotificationCenterAddObserver(CFNotificationCenterRef center, const void* observer,
                                     CFNotificationCallback callBack, CFStringRef name,
                                     const void* object,
                                     CFNotificationSuspensionBehavior suspension) {
  constexpr const char* kFunction = "CFNotificationCenterAddObserver";
  auto* found = Objects::shared().get<Center>(kFunction, center);
  const auto text = textArgument(kFunction, name);
  if (found == nullptr || !text || observer == nullptr || callBack == nullptr) {
    Ledger::misuse(kFunction, "an argument is missing");
    return;
  }
  Ledger::shared().called(kFunction, found->name, *text, described(object),
                          static_cast<CFIndex>(suspension));
  found->add({observer, callBack, *text});
}

void CFNotificationCenterRemoveEveryObserver(CFNotificationCenterRef center, const void* observer) {
  constexpr const char* kFunction = "CFNotificationCenterRemoveEveryObserver";
  if (auto* found = Objects::shared().get<Center>(kFunction, center)) {
    Ledger::shared().called(kFunction, found->name);
    found->removeEvery(observer);
  }
}

void CFNotificationCenterPostNotification(CFNotificationCenterRef center, CFNotificationName name,
                                          const void* object, CFDictionaryRef userInfo,
                                          Boolean deliverImmediately) {
  constexpr const char* kFunction = "CFNotificationCenterPostNotification";
  auto* found = Objects::shared().get<Center>(kFunction, center);
  const auto text = textArgument(kFunction, name);
  if (found == nullptr || !text) {
    return;
  }
  Ledger::shared().called(kFunction, found->name, *text, described(object), described(userInfo),
                          deliverImmediately != 0);
  Notification notification{*text, std::nullopt, std::nullopt};
  if (object != nullptr) {
    notification.object = textArgument(kFunction, static_cast<CFStringRef>(object));
  }
  if (userInfo != nullptr) {
    notification.userInfo = kelvora::platform::dictionaryOf(userInfo);
  }
  if (found->isDistributed) {
    arrive(notification, deliverImmediately != 0);
  } else {
    deliver(*found, notification);
  }
}
