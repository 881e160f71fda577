#include "ports/NotificationCentres.h"

#include <string>

#include "tests/platforms/shared/PortsTest.h"

namespace kelvora::testing {
namespace {

using platform::Notification;
using platform::ObserverToken;
using platform::SuspensionBehavior;

class NotificationCentresPort : public PortsTest {
 protected:
  platform::NotificationCentre& centre() { return ports.notificationCentres->inProcess(); }
  platform::NotificationCentre& distributed() { return ports.notificationCentres->distributed(); }
  ObserverToken observe(const std::string& name, std::function<void()> handler) {
    return centre().addObserver(name, SuspensionBehavior::kDefault,
                                [handler](const Notification&) { handler(); });
  }
  void post(const std::string& name) { centre().post({name, {}, {}}, true); }
};

TEST_F(NotificationCentresPort, CallTheObserversOfANameInTheOrderOfAdding) {
  std::string calls;
  observe("A", [&] { calls += '1'; });
  observe("B", [&] { calls += '2'; });
  observe("A", [&] { calls += '3'; });
  post("A");
  EXPECT_EQ(calls, "13");
}

TEST_F(NotificationCentresPort, HandOverObjectAndUserInfo) {
  Notification received;
  centre().addObserver("A", SuspensionBehavior::kCoalesce,
                       [&](const Notification& notification) { received = notification; });
  centre().post({"A", "sender", PropertyListValue::Dictionary{{"key", 5}}}, false);
  EXPECT_EQ(received.name, "A");
  EXPECT_EQ(received.object, "sender");
  ASSERT_TRUE(received.userInfo.has_value());
  EXPECT_EQ(received.userInfo->at("key"), PropertyListValue(5));
}

TEST_F(NotificationCentresPort, TokensAreNeverZeroAndNeverShared) {
  const ObserverToken first = observe("A", [] {});
  const ObserverToken second = observe("A", [] {});
  EXPECT_NE(first, 0U);
  EXPECT_NE(first, second);
}

TEST_F(NotificationCentresPort, ARemovedObserverIsNotCalled) {
  int calls = 0;
  const ObserverToken token = observe("A", [&] { ++calls; });
  centre().removeObserver(token);
  centre().removeObserver(token);
  centre().removeObserver(12345);
  post("A");
  EXPECT_EQ(calls, 0);
}

TEST_F(NotificationCentresPort, AHandlerMayRemoveItselfAndLaterObservers) {
  int own = 0;
  int later = 0;
  ObserverToken first = 0;
  ObserverToken second = 0;
  first = observe("A", [&] {
    ++own;
    centre().removeObserver(first);
    centre().removeObserver(second);
  });
  second = observe("A", [&] { ++later; });
  post("A");
  post("A");
  EXPECT_EQ(own, 1);
  EXPECT_EQ(later, 0);
}

TEST_F(NotificationCentresPort, AHandlerMayPost) {
  int calls = 0;
  observe("A", [&] { post("B"); });
  observe("B", [&] { ++calls; });
  post("A");
  EXPECT_EQ(calls, 1);
}

TEST_F(NotificationCentresPort, ANoticeToAllProgramsArrivesOnTheMainQueueAndNotInTheOtherCentre) {
  int calls = 0;
  int others = 0;
  distributed().addObserver("A", SuspensionBehavior::kDefault, [&](const Notification&) {
    EXPECT_TRUE(ports.mainQueue->isMainThread());
    ++calls;
  });
  observe("A", [&] { ++others; });
  distributed().post({"A", {}, {}}, true);
  EXPECT_EQ(calls, 0) << "it does not wait for observers";
  runMainQueue();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(others, 0);
  post("A");
  runMainQueue();
  EXPECT_EQ(calls, 1);
}

TEST_F(NotificationCentresPort, AnObserverThatWasRemovedMeanwhileGetsNothingThatIsQueued) {
  int calls = 0;
  const auto count = [&](const Notification&) { ++calls; };
  const auto token = distributed().addObserver("A", SuspensionBehavior::kDefault, count);
  distributed().addObserver("A", SuspensionBehavior::kDefault, count);
  distributed().post({"A", {}, {}}, true);
  distributed().removeObserver(token);
  runMainQueue();
  EXPECT_EQ(calls, 1);
  distributed().post({"A", {}, {}}, true);
  ports.notificationCentres.reset();
  runMainQueue();
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace kelvora::testing
