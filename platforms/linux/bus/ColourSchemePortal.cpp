#include "platforms/linux/bus/ColourSchemePortal.h"

#include <atomic>
#include <string>
#include <utility>

#include <sdbus-c++/sdbus-c++.h>

#include "platforms/linux/bus/DBusValues.h"
#include "platforms/linux/bus/SessionBusLoop.h"

namespace kelvora::platform {

namespace {

constexpr const char* kPortalName = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSettings = "org.freedesktop.portal.Settings";
constexpr const char* kAppearance = "org.freedesktop.appearance";
constexpr const char* kColourScheme = "color-scheme";
constexpr const char* kChanged =
    "type='signal',interface='org.freedesktop.portal.Settings',member='SettingChanged',"
    "path='/org/freedesktop/portal/desktop',arg0='org.freedesktop.appearance',arg1='color-scheme'";
constexpr const char* kOwnerChanged =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.freedesktop.portal.Desktop'";

std::uint32_t schemeIn(const sdbus::Variant& variant) {
  const auto value = valueOf(variant);
  return value ? static_cast<std::uint32_t>(value->integerValue()) : 0;
}

}  // namespace

struct ColourSchemePortal::Connection {
  explicit Connection(Handlers given)
      : handlers(std::move(given)),
        proxy(sdbus::createProxy(loop.connection(), kPortalName, kPortalPath)) {
    loop.connection().addMatch(
        kChanged, [this](sdbus::Message& message) { changed(message); }, sdbus::floating_slot);
    loop.connection().addMatch(
        kOwnerChanged, [this](sdbus::Message& message) { ownerChanged(message); },
        sdbus::floating_slot);
    ask();
    loop.start([this] { connected = false; });
  }
  ~Connection() { loop.stop(); }

  // A change that is heard before the answer is newer than it.
  void ask() {
    proxy->callMethodAsync("Read")
        .onInterface(kSettings)
        .withArguments(std::string(kAppearance), std::string(kColourScheme))
        .uponReplyInvoke(
            [this, before = changes](const sdbus::Error* error, const sdbus::Variant& value) {
              if (error != nullptr) {
                handlers.unanswered();
              } else if (changes == before) {
                guardedFromBus([&] { handlers.answered(schemeIn(value)); });
              }
            });
  }
  void changed(sdbus::Message& message) {
    guardedFromBus([&] {
      std::string space;
      std::string key;
      sdbus::Variant value;
      message >> space >> key >> value;
      ++changes;
      handlers.changed(schemeIn(value));
    });
  }
  void ownerChanged(sdbus::Message& message) {
    guardedFromBus([&] {
      std::string name;
      std::string before;
      std::string now;
      message >> name >> before >> now;
      if (!now.empty()) {
        ask();
      }
    });
  }

  Handlers handlers;
  std::atomic<bool> connected{true};
  SessionBusLoop loop;
  std::unique_ptr<sdbus::IProxy> proxy;
  int changes = 0;  // on the loop's thread once that has started
};

std::unique_ptr<ColourSchemePortal> ColourSchemePortal::open(Handlers handlers) {
  try {
    return std::unique_ptr<ColourSchemePortal>(
        new ColourSchemePortal(std::make_unique<Connection>(std::move(handlers))));
  } catch (const sdbus::Error&) {
    return nullptr;
  }
}

bool ColourSchemePortal::isConnected() const { return connection_->connected; }

ColourSchemePortal::ColourSchemePortal(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)) {}

ColourSchemePortal::~ColourSchemePortal() = default;

}  // namespace kelvora::platform
