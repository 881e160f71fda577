#pragma once

#include <memory>

#include "platform/InProcessNotificationCentre.h"
#include "platform/NotificationCentres.h"
#include "platform/linux/DBusNotificationCentre.h"
#include "platform/linux/DesktopColourScheme.h"

namespace kelvora::platform {

/// The session bus, and this process's own centre.
class LinuxNotificationCentres : public NotificationCentres {
 public:
  /// `mainQueue` outlives the centres; `scheme` follows the desktop.
  LinuxNotificationCentres(MainQueue& mainQueue, std::shared_ptr<DesktopColourScheme> scheme);
  NotificationCentre& distributed() override { return distributed_; }
  NotificationCentre& inProcess() override { return inProcess_; }
  bool reachesOtherProcesses() const override;

 private:
  mutable DBusNotificationCentre distributed_;  // asking connects it
  InProcessNotificationCentre inProcess_;
};

}  // namespace kelvora::platform
