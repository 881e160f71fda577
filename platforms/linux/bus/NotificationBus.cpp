#include "platforms/linux/bus/NotificationBus.h"

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "base/UTF8Text.h"
#include "platforms/linux/bus/DBusValues.h"
#include "platforms/linux/bus/SessionBusLoop.h"

namespace kelvora::platform {

namespace {

constexpr const char* kPath = "/com/kelvora/DistributedNotifications";
constexpr const char* kInterface = "com.kelvora.DistributedNotifications";
constexpr const char* kMember = "Posted";
constexpr const char* kPostedMatch =
    "type='signal',interface='com.kelvora.DistributedNotifications',member='Posted'";

Notification notificationIn(sdbus::Message& message) {
  std::string name;
  std::vector<std::string> object;
  std::vector<VariantDictionary> userInfo;
  message >> name >> object >> userInfo;
  Notification notification{std::move(name), std::nullopt, std::nullopt};
  if (!object.empty()) {
    notification.object = std::move(object.front());
  }
  if (!userInfo.empty()) {
    notification.userInfo = valuesOf(userInfo.front());
  }
  return notification;
}

// What was sent and has not come back, in order. A bus that ends may not have delivered it, so its
// sender must receive it without the bus.
class SentNotifications {
 public:
  /// False when the bus has gone.
  bool add(const Notification& notification) {
    const std::lock_guard lock(mutex_);
    if (!hasGone_) {
      sent_.push_back(notification);
    }
    return !hasGone_;
  }
  /// Takes back what was added last, which the bus has refused. False when it was handed over.
  bool takeBack() {
    const std::lock_guard lock(mutex_);
    if (!hasGone_) {
      sent_.pop_back();
    }
    return !hasGone_;
  }
  void firstCameBack() {
    const std::lock_guard lock(mutex_);
    if (!sent_.empty()) {
      sent_.pop_front();
    }
  }
  /// The bus has gone. Hands over what remains before anything else can be posted.
  void handOver(const std::function<void(const Notification&)>& received) {
    const std::lock_guard lock(mutex_);
    hasGone_ = true;
    for (const Notification& notification : sent_) {
      received(notification);
    }
    sent_.clear();
  }
  bool hasGone() const {
    const std::lock_guard lock(mutex_);
    return hasGone_;
  }

 private:
  mutable std::mutex mutex_;
  std::deque<Notification> sent_;
  bool hasGone_ = false;
};

}  // namespace

struct NotificationBus::Connection {
  Connection(std::function<void(const Notification&)> given, std::function<void()> ended)
      : received(std::move(given)),
        object(sdbus::createObject(loop.connection(), kPath)),
        ownName(loop.connection().getUniqueName()) {
    loop.connection().addMatch(
        kPostedMatch, [this](sdbus::Message& message) { hear(message); }, sdbus::floating_slot);
    loop.start([this, ended = std::move(ended)] {
      sent.handOver(received);
      ended();
    });
  }
  ~Connection() { loop.stop(); }

  void hear(sdbus::Message& message) {
    guardedFromBus([&] {
      if (message.getSender() == ownName) {
        sent.firstCameBack();
      }
      received(notificationIn(message));
    });
  }

  std::function<void(const Notification&)> received;
  SessionBusLoop loop;
  std::unique_ptr<sdbus::IObject> object;
  std::string ownName;
  std::mutex sending;  // never locked by the loop's thread, for which a sender may wait
  SentNotifications sent;
};

std::unique_ptr<NotificationBus> NotificationBus::open(
    std::function<void(const Notification&)> received, std::function<void()> ended) {
  try {
    return std::unique_ptr<NotificationBus>(
        new NotificationBus(std::make_unique<Connection>(std::move(received), std::move(ended))));
  } catch (const sdbus::Error&) {
    return nullptr;
  }
}

NotificationBus::NotificationBus(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)) {}

NotificationBus::~NotificationBus() = default;

bool NotificationBus::isConnected() const { return !connection_->sent.hasGone(); }

void NotificationBus::send(const Notification& notification) {
  std::vector<std::string> object;
  if (notification.object) {
    object.push_back(validUTF8(*notification.object));
  }
  std::vector<VariantDictionary> userInfo;
  if (notification.userInfo) {
    userInfo.push_back(variantsOf(*notification.userInfo));
  }
  sdbus::Signal signal = connection_->object->createSignal(kInterface, kMember);
  signal << validUTF8(notification.name) << object << userInfo;
  connection_->object->emitSignal(signal);
  connection_->loop.noteSent();
}

bool NotificationBus::post(const Notification& notification) {
  const std::lock_guard lock(connection_->sending);
  if (!connection_->sent.add(notification)) {
    return false;
  }
  try {
    send(notification);
  } catch (const sdbus::Error&) {
    return !connection_->sent.takeBack();
  }
  return true;
}

}  // namespace kelvora::platform
