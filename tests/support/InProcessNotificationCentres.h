#pragma once

#include "platforms/shared/InProcessNotificationCentre.h"
#include "ports/NotificationCentres.h"

namespace kelvora::platform {

/// Both centres reach this process only.
class InProcessNotificationCentres : public NotificationCentres {
 public:
  /// `mainQueue` outlives the centres.
  explicit InProcessNotificationCentres(MainQueue& mainQueue) : distributed_(&mainQueue) {}
  NotificationCentre& distributed() override { return distributed_; }
  NotificationCentre& inProcess() override { return inProcess_; }
  bool reachesOtherProcesses() const override { return false; }

 private:
  InProcessNotificationCentre distributed_;
  InProcessNotificationCentre inProcess_;
};

}  // namespace kelvora::platform
