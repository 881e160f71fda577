#pragma once

#include <atomic>
#include <cstdint>

namespace kelvora::platform {

/// What the desktop last said about its colours: "color-scheme" of "org.freedesktop.appearance".
/// Any thread.
class DesktopColourScheme {
 public:
  static constexpr std::uint32_t kNoPreference = 0;
  static constexpr std::uint32_t kDark = 1;
  static constexpr std::uint32_t kLight = 2;

  std::uint32_t value() const { return value_; }
  /// Sets a new value and returns the one before.
  std::uint32_t exchange(std::uint32_t value) { return value_.exchange(value); }

 private:
  std::atomic<std::uint32_t> value_{kNoPreference};
};

}  // namespace kelvora::platform
