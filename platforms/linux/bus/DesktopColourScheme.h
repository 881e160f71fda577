#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "platforms/linux/bus/ColourSchemePortal.h"

namespace kelvora::platform {

/// The desktop's colours: "color-scheme" of "org.freedesktop.appearance", asked of the desktop on
/// first use and followed from then on. Any thread.
class DesktopColourScheme {
 public:
  static constexpr std::uint32_t kNoPreference = 0;
  static constexpr std::uint32_t kDark = 1;
  static constexpr std::uint32_t kLight = 2;

  /// What the desktop last said; `kNoPreference` before. The first call waits up to half a second
  /// for its answer; not where there is no session bus or no desktop to answer.
  std::uint32_t value();
  /// Follows the desktop without waiting.
  void follow();
  /// Follows it over a new session bus, if it was followed before.
  void followAgain();

  /// `changed` is called when the desktop changes its colours, and when its answer is another than
  /// before or than what `value` returned without one; the first answer alone is no change. Called
  /// on any thread, and not any more once another handler, e.g. null, is set. It must not use this
  /// object.
  void setHandler(std::function<void()> changed);

  /// The desktop has answered.
  void answered(std::uint32_t value);
  /// The desktop has changed its colours.
  void changed(std::uint32_t value);

 private:
  void ask();
  void stopWaiting();
  void announce();

  std::mutex mutex_;
  std::condition_variable waitHasEnded_;
  bool isAwaited_ = true;
  bool wasGuessed_ = false;
  std::optional<std::uint32_t> known_;
  std::mutex handlerMutex_;
  std::function<void()> handler_;
  std::mutex portalMutex_;
  bool isFollowed_ = false;
  // Last: its thread uses the members above.
  std::unique_ptr<ColourSchemePortal> portal_;
};

}  // namespace kelvora::platform
