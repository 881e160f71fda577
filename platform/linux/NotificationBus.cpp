#include "platform/linux/NotificationBus.h"

#include <atomic>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sdbus-c++/sdbus-c++.h>

#include "platform/UTF8Text.h"
#include "platform/linux/DBusValues.h"

namespace kelvora::platform {

namespace {

constexpr const char* kPath = "/com/kelvora/DistributedNotifications";
constexpr const char* kInterface = "com.kelvora.DistributedNotifications";
constexpr const char* kMember = "Posted";
constexpr const char* kPostedMatch =
    "type='signal',interface='com.kelvora.DistributedNotifications',member='Posted'";

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kPortalSettings = "org.freedesktop.portal.Settings";
constexpr const char* kAppearance = "org.freedesktop.appearance";
constexpr const char* kColourScheme = "color-scheme";
constexpr const char* kSchemeMatch =
    "type='signal',interface='org.freedesktop.portal.Settings',member='SettingChanged',"
    "path='/org/freedesktop/portal/desktop',arg0='org.freedesktop.appearance',arg1='color-scheme'";

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

std::uint32_t schemeIn(const sdbus::Variant& variant) {
  const auto value = valueOf(variant);
  return value ? static_cast<std::uint32_t>(value->integerValue()) : 0;
}

// Runs a handler of a message: nothing may be thrown through the C library that calls it, and a
// message of another shape is nobody's.
template <typename Work>
void guarded(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const sdbus::Error&) {
    return;
  }
}

// Ends the loops of all connections when the process exits: a platform that lives for the process
// is never destroyed, and its loop would go on while the bus library's own objects go away.
class OpenLoops {
 public:
  static OpenLoops& all() {
    static OpenLoops& loops = *new OpenLoops();
    return loops;
  }

  void add(const void* owner, std::function<void()> end) {
    const std::lock_guard lock(mutex_);
    ends_.emplace(owner, std::move(end));
  }
  void remove(const void* owner) {
    const std::lock_guard lock(mutex_);
    ends_.erase(owner);
  }

 private:
  OpenLoops() {
    // The bus library makes the connection behind its variants with the first of them. It must
    // stand before this is registered, so that it goes after the loops have ended.
    const sdbus::Variant first;
    std::atexit([] { all().endAll(); });
  }
  void endAll() {
    const std::lock_guard lock(mutex_);
    for (const auto& [owner, end] : ends_) {
      end();
    }
  }

  std::mutex mutex_;
  std::map<const void*, std::function<void()>> ends_;
};

}  // namespace

struct NotificationBus::Connection {
  explicit Connection(Handlers given)
      : handlers(std::move(given)),
        bus(sdbus::createSessionBusConnection()),
        object(sdbus::createObject(*bus, kPath)),
        portal(sdbus::createProxy(*bus, kPortal, kPortalPath)) {
    bus->addMatch(
        kPostedMatch,
        [this](sdbus::Message& message) {
          guarded([&] { handlers.received(notificationIn(message)); });
        },
        sdbus::floating_slot);
    bus->addMatch(
        kSchemeMatch,
        [this](sdbus::Message& message) {
          guarded([&] {
            std::string space;
            std::string key;
            sdbus::Variant value;
            message >> space >> key >> value;
            schemeChanged = true;
            handlers.colourScheme(schemeIn(value));
          });
        },
        sdbus::floating_slot);
    // Last: what the matches wait for must not be read by the loop.
    OpenLoops& loops = OpenLoops::all();
    loop = std::thread([this] { run(); });
    loops.add(this, [this] { endLoop(); });
  }

  ~Connection() {
    OpenLoops::all().remove(this);
    endLoop();
  }

  void endLoop() {
    if (loop.joinable()) {
      guarded([this] { bus->leaveEventLoop(); });
      loop.join();
    }
  }

  // The loop ends with an error when the bus goes away.
  void run() {
    guarded([this] { bus->enterEventLoop(); });
    connected = false;
  }

  Handlers handlers;
  std::unique_ptr<sdbus::IConnection> bus;
  std::unique_ptr<sdbus::IObject> object;
  std::unique_ptr<sdbus::IProxy> portal;
  std::mutex sending;
  std::atomic<bool> connected{true};
  bool schemeChanged = false;  // on the loop's thread
  std::thread loop;
};

std::unique_ptr<NotificationBus> NotificationBus::open(Handlers handlers) {
  try {
    return std::unique_ptr<NotificationBus>(
        new NotificationBus(std::make_unique<Connection>(std::move(handlers))));
  } catch (const sdbus::Error&) {
    return nullptr;
  }
}

NotificationBus::NotificationBus(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)) {}

NotificationBus::~NotificationBus() = default;

bool NotificationBus::isConnected() const { return connection_->connected; }

bool NotificationBus::post(const Notification& notification) {
  std::vector<std::string> object;
  if (notification.object) {
    object.push_back(validUTF8(*notification.object));
  }
  std::vector<VariantDictionary> userInfo;
  if (notification.userInfo) {
    userInfo.push_back(variantsOf(*notification.userInfo));
  }
  const std::lock_guard lock(connection_->sending);
  try {
    sdbus::Signal signal = connection_->object->createSignal(kInterface, kMember);
    signal << validUTF8(notification.name) << object << userInfo;
    connection_->object->emitSignal(signal);
  } catch (const sdbus::Error&) {
    return false;
  }
  return true;
}

void NotificationBus::askColourScheme() {
  const std::lock_guard lock(connection_->sending);
  guarded([this] {
    connection_->portal->callMethodAsync("Read")
        .onInterface(kPortalSettings)
        .withArguments(std::string(kAppearance), std::string(kColourScheme))
        .uponReplyInvoke([this](const sdbus::Error* error, sdbus::Variant value) {
          // A change that was heard meanwhile is newer than the answer.
          if (error == nullptr && !connection_->schemeChanged) {
            guarded([&] { connection_->handlers.colourScheme(schemeIn(value)); });
          }
        });
  });
}

}  // namespace kelvora::platform
