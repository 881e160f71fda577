#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "ports/MainQueue.h"
#include "ports/NotificationCentres.h"

namespace kelvora::platform {

/// A centre within this process. Observers are called in the order in which they were added, on the
/// posting thread or, with a queue, later on the main thread. A handler may post, add and remove
/// observers; one that is added while a notification is being delivered does not get that one.
class InProcessNotificationCentre : public NotificationCentre {
 public:
  /// `deliveryQueue` may be null: delivery before `post` returns. It outlives the centre.
  explicit InProcessNotificationCentre(MainQueue* deliveryQueue = nullptr);
  ~InProcessNotificationCentre() override;

  ObserverToken addObserver(const std::string& name, SuspensionBehavior behavior,
                            std::function<void(const Notification&)> handler) override;
  void removeObserver(ObserverToken token) override;
  void post(const Notification& notification, bool deliverImmediately) override;

 private:
  struct Observer;
  std::vector<std::shared_ptr<Observer>> observersOf(const std::string& name);

  MainQueue* deliveryQueue_;
  std::mutex mutex_;
  std::vector<std::shared_ptr<Observer>> observers_;
  ObserverToken lastToken_ = 0;
};

}  // namespace kelvora::platform
