#pragma once

#include <memory>

#include "platforms/linux/bus/DBusNotificationCentre.h"
#include "platforms/linux/bus/DesktopColourScheme.h"
#include "platforms/shared/InProcessNotificationCentre.h"
#include "ports/NotificationCentres.h"

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
  InProcessNotificationCentre inProcess_;
  mutable DBusNotificationCentre distributed_;  // asking connects it; its threads use inProcess_
};

}  // namespace kelvora::platform
