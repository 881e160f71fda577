#include "platforms/shared/InProcessNotificationCentre.h"

#include <string>
#include <vector>

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

TEST_F(NotificationCentre, CallsTheObserversOfANameInTheOrderOfAdding) {
  std::string calls;
  observe("A", [&] { calls += '1'; });
  observe("B", [&] { calls += '2'; });
  observe("A", [&] { calls += '3'; });
  post("A");
  EXPECT_EQ(calls, "13");
}

TEST_F(NotificationCentre, HandsOverObjectAndUserInfo) {
  Notification received;
  centre.addObserver("A", SuspensionBehavior::kCoalesce,
                     [&](const Notification& notification) { received = notification; });
  centre.post({"A", "sender", PropertyListValue::Dictionary{{"key", 5}}}, false);
  EXPECT_EQ(received.name, "A");
  EXPECT_EQ(received.object, "sender");
  EXPECT_EQ(received.userInfo->at("key"), PropertyListValue(5));
}

TEST_F(NotificationCentre, TokensAreNeverZeroAndNeverShared) {
  const ObserverToken first = observe("A", [] {});
  const ObserverToken second = observe("A", [] {});
  EXPECT_NE(first, 0U);
  EXPECT_NE(first, second);
}

TEST_F(NotificationCentre, ARemovedObserverIsNotCalled) {
  int calls = 0;
  const ObserverToken token = observe("A", [&] { ++calls; });
  centre.removeObserver(token);
  centre.removeObserver(token);
  centre.removeObserver(12345);
  post("A");
  EXPECT_EQ(calls, 0);
}

TEST_F(NotificationCentre, AHandlerMayRemoveItselfAndLaterObservers) {
  int own = 0;
  int later = 0;
  ObserverToken first = 0;
  ObserverToken second = 0;
  first = observe("A", [&] {
    ++own;
    centre.removeObserver(first);
    centre.removeObserver(second);
  });
  second = observe("A", [&] { ++later; });
  post("A");
  post("A");
  EXPECT_EQ(own, 1);
  EXPECT_EQ(later, 0);
}

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

TEST_F(NotificationCentre, AHandlerMayPost) {
  int calls = 0;
  observe("A", [&] { post("B"); });
  observe("B", [&] { ++calls; });
  post("A");
  EXPECT_EQ(calls, 1);
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
