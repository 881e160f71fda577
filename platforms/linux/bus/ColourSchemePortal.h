#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kelvora::platform {

/// The desktop's colour scheme, asked of and heard from "org.freedesktop.portal.Settings" on the
/// session bus. It has a connection of its own, so that a slow portal holds up no notification.
class ColourSchemePortal {
 public:
  /// Asks once and listens from then on. `handler` is called on the portal's own thread, until the
  /// end of the object, with each "color-scheme": 0 no preference, 1 dark, 2 light. Null where
  /// there is no session bus; a desktop without the portal never calls.
  static std::unique_ptr<ColourSchemePortal> open(std::function<void(std::uint32_t)> handler);
  ~ColourSchemePortal();
  ColourSchemePortal(const ColourSchemePortal&) = delete;
  ColourSchemePortal& operator=(const ColourSchemePortal&) = delete;

 private:
  struct Connection;
  explicit ColourSchemePortal(std::unique_ptr<Connection> connection);

  std::unique_ptr<Connection> connection_;
};

}  // namespace kelvora::platform
