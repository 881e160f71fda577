#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>

#include <CoreFoundation/CoreFoundation.h>

#include "ports/MainQueue.h"
#include "ports/NotificationCentres.h"

namespace kelvora::platform {

/// One centre of Core Foundation. Any thread.
class MacNotificationCentre : public NotificationCentre {
 public:
  /// `centre` stays the system's. Handlers run on `queue`, which outlives the centre; with null at
  /// once on the thread that posts, and then they must not throw.
  MacNotificationCentre(CFNotificationCenterRef centre, MainQueue* queue);
  /// What is still queued for delivery is dropped.
  ~MacNotificationCentre() override;

  ObserverToken addObserver(const std::string& name, SuspensionBehavior behavior,
                            std::function<void(const Notification&)> handler) override;
  void removeObserver(ObserverToken token) override;
  void post(const Notification& notification, bool deliverImmediately) override;

 private:
  CFNotificationCenterRef centre_;
  MainQueue* queue_;
  std::mutex mutex_;
  std::set<ObserverToken> tokens_;
};

}  // namespace kelvora::platform
