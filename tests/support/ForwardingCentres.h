#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ports/NotificationCentres.h"

namespace kelvora::testing {

/// A centre that forwards and keeps what it was asked.
class ForwardingCentre : public platform::NotificationCentre {
 public:
  struct Observation {
    std::string name;
    platform::SuspensionBehavior behavior;
  };
  struct Post {
    platform::Notification notification;
    bool deliverImmediately;
  };

  explicit ForwardingCentre(platform::NotificationCentre& centre) : behind(centre) {}
  platform::ObserverToken addObserver(
      const std::string& name, platform::SuspensionBehavior behavior,
      std::function<void(const platform::Notification&)> handler) override {
    added.push_back({name, behavior});
    ++observing;
    return behind.addObserver(name, behavior, std::move(handler));
  }
  void removeObserver(platform::ObserverToken token) override {
    --observing;
    behind.removeObserver(token);
  }
  void post(const platform::Notification& notification, bool deliverImmediately) override {
    posts.push_back({notification, deliverImmediately});
    behind.post(notification, deliverImmediately);
  }

  platform::NotificationCentre& behind;
  std::vector<Observation> added;
  std::vector<Post> posts;
  int observing = 0;  ///< added less removed
};

class ForwardingCentres : public platform::NotificationCentres {
 public:
  explicit ForwardingCentres(std::unique_ptr<platform::NotificationCentres> port)
      : behind(std::move(port)),
        distributedCentre(behind->distributed()),
        inProcessCentre(behind->inProcess()) {}
  platform::NotificationCentre& distributed() override { return distributedCentre; }
  platform::NotificationCentre& inProcess() override { return inProcessCentre; }
  bool reachesOtherProcesses() const override { return behind->reachesOtherProcesses(); }

  std::unique_ptr<platform::NotificationCentres> behind;
  ForwardingCentre distributedCentre;
  ForwardingCentre inProcessCentre;
};

}  // namespace kelvora::testing
