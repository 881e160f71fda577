#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platforms/linux/bus/DBusNotificationCentre.h"
#include "platforms/linux/bus/DesktopColourScheme.h"
#include "platforms/linux/system/LinuxMainQueue.h"
#include "tests/support/MainQueueLoop.h"

namespace kelvora::platform {

inline constexpr const char* kSettingsChanged = "KVDataManagerSettingsDidChangeNotification";
inline constexpr const char* kThemeChanged = "AppleInterfaceThemeChangedNotification";

/// A centre with its queue, as every process has them.
struct Program {
  LinuxMainQueue queue;
  std::shared_ptr<DesktopColourScheme> scheme = std::make_shared<DesktopColourScheme>();
  DBusNotificationCentre centre{queue, scheme};
  std::vector<Notification> heard;

  ObserverToken observe(const std::string& name) {
    return centre.addObserver(name, SuspensionBehavior::kDefault,
                              [this](const Notification& notice) { heard.push_back(notice); });
  }
  /// Posts a notice of its own and runs until it has come back: whatever was sent before has, too.
  bool catchUp() {
    const std::size_t before = marks;
    if (before == 0) {
      centre.addObserver("mark", SuspensionBehavior::kDefault,
                         [this](const Notification&) { ++marks; });
    }
    centre.post({"mark", std::nullopt, std::nullopt}, true);
    return testing::runUntil(queue, [&] { return marks > before; });
  }
  std::size_t marks = 0;
};

}  // namespace kelvora::platform
