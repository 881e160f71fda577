#include "platforms/linux/bus/ColourSchemePortal.h"

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

std::uint32_t schemeIn(const sdbus::Variant& variant) {
  const auto value = valueOf(variant);
  return value ? static_cast<std::uint32_t>(value->integerValue()) : 0;
}

}  // namespace

struct ColourSchemePortal::Connection {
  explicit Connection(std::function<void(std::uint32_t)> given)
      : handler(std::move(given)),
        proxy(sdbus::createProxy(loop.connection(), kPortalName, kPortalPath)) {
    loop.connection().addMatch(
        kChanged, [this](sdbus::Message& message) { changed(message); }, sdbus::floating_slot);
    proxy->callMethodAsync("Read")
        .onInterface(kSettings)
        .withArguments(std::string(kAppearance), std::string(kColourScheme))
        .uponReplyInvoke([this](const sdbus::Error* error, const sdbus::Variant& value) {
          answered(error, value);
        });
    loop.start();
  }
  ~Connection() { loop.stop(); }

  void changed(sdbus::Message& message) {
    guardedFromBus([&] {
      std::string space;
      std::string key;
      sdbus::Variant value;
      message >> space >> key >> value;
      hasChanged = true;
      handler(schemeIn(value));
    });
  }
  // A change that was heard meanwhile is newer than the answer.
  void answered(const sdbus::Error* error, const sdbus::Variant& value) {
    if (error == nullptr && !hasChanged) {
      guardedFromBus([&] { handler(schemeIn(value)); });
    }
  }

  std::function<void(std::uint32_t)> handler;
  SessionBusLoop loop;
  std::unique_ptr<sdbus::IProxy> proxy;
  bool hasChanged = false;  // on the loop's thread
};

std::unique_ptr<ColourSchemePortal> ColourSchemePortal::open(
    std::function<void(std::uint32_t)> handler) {
  try {
    return std::unique_ptr<ColourSchemePortal>(
        new ColourSchemePortal(std::make_unique<Connection>(std::move(handler))));
  } catch (const sdbus::Error&) {
    return nullptr;
  }
}

ColourSchemePortal::ColourSchemePortal(std::unique_ptr<Connection> connection)
    : connection_(std::move(connection)) {}

ColourSchemePortal::~ColourSchemePortal() = default;

}  // namespace kelvora::platform
