#include "platforms/linux/bus/NotificationBus.h"

#include <atomic>
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

}  // namespace

struct NotificationBus::Connection {
  Connection(std::function<void(const Notification&)> given, std::function<void()> ended)
      : received(std::move(given)), object(sdbus::createObject(loop.connection(), kPath)) {
    loop.connection().addMatch(
        kPostedMatch,
        [this](sdbus::Message& message) {
          guardedFromBus([&] { received(notificationIn(message)); });
        },
        sdbus::floating_slot);
    loop.start([this, ended = std::move(ended)] {
      connected = false;
      ended();
    });
  }
  ~Connection() { loop.stop(); }

  std::function<void(const Notification&)> received;
  SessionBusLoop loop;
  std::unique_ptr<sdbus::IObject> object;
  std::mutex sending;
  std::atomic<bool> connected{true};
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

bool NotificationBus::isConnected() const { return connection_->connected; }

void NotificationBus::send(const Notification& notification) {
  std::vector<std::string> object;
  if (notification.object) {
    object.push_back(validUTF8(*notification.object));
  }
  std::vector<VariantDictionary> userInfo;
  if (notification.userInfo) {
    userInfo.push_back(variantsOf(*notification.userInfo));
  }
  const std::lock_guard lock(connection_->sending);
  sdbus::Signal signal = connection_->object->createSignal(kInterface, kMember);
  signal << validUTF8(notification.name) << object << userInfo;
  connection_->object->emitSignal(signal);
  connection_->loop.noteSent();
}

bool NotificationBus::post(const Notification& notification) {
  try {
    send(notification);
  } catch (const sdbus::Error&) {
    return false;
  }
  return true;
}

}  // namespace kelvora::platform
