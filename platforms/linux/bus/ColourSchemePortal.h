#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kelvora::platform {

/// The desktop's colour scheme, asked of and heard from "org.freedesktop.portal.Settings" on the
/// session bus. It has a connection of its own, so that a slow portal holds up no notification.
class ColourSchemePortal {
 public:
  /// Called on the portal's own thread, until the end of the object. A colour scheme is 0 for no
  /// preference, 1 dark, 2 light.
  struct Handlers {
    std::function<void(std::uint32_t scheme)> answered;
    std::function<void(std::uint32_t scheme)> changed;
    std::function<void()> unanswered;  ///< there is no portal, or it has no colour scheme
  };
  /// Asks now and whenever the portal starts, and listens for changes. Null where there is no
  /// session bus.
  static std::unique_ptr<ColourSchemePortal> open(Handlers handlers);
  ~ColourSchemePortal();
  ColourSchemePortal(const ColourSchemePortal&) = delete;
  ColourSchemePortal& operator=(const ColourSchemePortal&) = delete;

  /// Whether the bus has not closed the connection. Any thread.
  bool isConnected() const;

 private:
  struct Connection;
  explicit ColourSchemePortal(std::unique_ptr<Connection> connection);

  std::unique_ptr<Connection> connection_;
};

}  // namespace kelvora::platform
