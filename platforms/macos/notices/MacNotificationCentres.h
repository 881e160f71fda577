#pragma once

#include "platforms/macos/notices/MacNotificationCentre.h"

namespace kelvora::platform {

/// The two centres of Core Foundation. What other parts of the program post on Foundation's centres
/// arrives too: they are the same.
class MacNotificationCentres : public NotificationCentres {
 public:
  /// `mainQueue` outlives the centres.
  explicit MacNotificationCentres(MainQueue& mainQueue)
      : distributed_(CFNotificationCenterGetDistributedCenter(), &mainQueue),
        inProcess_(CFNotificationCenterGetLocalCenter(), nullptr) {}

  NotificationCentre& distributed() override { return distributed_; }
  NotificationCentre& inProcess() override { return inProcess_; }
  bool reachesOtherProcesses() const override { return true; }

 private:
  MacNotificationCentre distributed_;
  MacNotificationCentre inProcess_;
};

}  // namespace kelvora::platform
