#include "platforms/shared/InProcessNotificationCentre.h"

#include <string>

#include <gtest/gtest.h>

#include "platforms/linux/system/LinuxMainQueue.h"
#include "tests/support/InProcessNotificationCentres.h"

namespace kelvora::testing {
namespace {

using platform::InProcessNotificationCentre;
using platform::LinuxMainQueue;
using platform::Notification;
using platform::ObserverToken;
using platform::SuspensionBehavior;

class NotificationCentre : public ::testing::Test {
 protected:
  ObserverToken observe(const std::string& name, std::function<void()> handler) {
    return centre.addObserver(name, SuspensionBehavior::kDefault,
                              [handler](const Notification&) { handler(); });
  }
  void post(const std::string& name) { centre.post({name, {}, {}}, true); }

  InProcessNotificationCentre centre;
};

TEST_F(NotificationCentre, AnObserverThatIsAddedDuringADeliveryGetsTheNextOne) {
  int added = 0;
  bool isFirst = true;
  observe("A", [&] {
    if (isFirst) {
      observe("A", [&] { ++added; });
    }
    isFirst = false;
  });
  post("A");
  EXPECT_EQ(added, 0);
  post("A");
  EXPECT_EQ(added, 1);
}

TEST(InProcessNotificationCentres, TheDistributedCentreDeliversOnTheMainQueue) {
  LinuxMainQueue queue;
  platform::InProcessNotificationCentres centres(queue);
  EXPECT_FALSE(centres.reachesOtherProcesses());
  int calls = 0;
  const auto count = [&](const Notification&) { ++calls; };
  centres.distributed().addObserver("A", SuspensionBehavior::kDefault, count);
  centres.distributed().post({"A", {}, {}}, true);
  EXPECT_EQ(calls, 0);
  queue.runPending();
  EXPECT_EQ(calls, 1);
  centres.inProcess().post({"A", {}, {}}, true);
  queue.runPending();
  EXPECT_EQ(calls, 1);
}

TEST(InProcessNotificationCentres, AnObserverThatWasRemovedMeanwhileGetsNothingThatIsQueued) {
  LinuxMainQueue queue;
  int calls = 0;
  {
    platform::InProcessNotificationCentres centres(queue);
    const auto count = [&](const Notification&) { ++calls; };
    const auto token = centres.distributed().addObserver("A", SuspensionBehavior::kDefault, count);
    centres.distributed().addObserver("A", SuspensionBehavior::kDefault, count);
    centres.distributed().post({"A", {}, {}}, true);
    centres.distributed().removeObserver(token);
    queue.runPending();
    EXPECT_EQ(calls, 1);
    centres.distributed().post({"A", {}, {}}, true);
  }
  queue.runPending();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace kelvora::testing
