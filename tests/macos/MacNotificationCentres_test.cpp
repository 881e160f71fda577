#include "platforms/macos/notices/MacNotificationCentres.h"

#include <optional>
#include <thread>

#include "platforms/macos/system/MacMainQueue.h"
#include "tests/macos/frameworks/SystemTest.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacMainQueue;
using platform::MacNotificationCentres;
using platform::SuspensionBehavior;

const Notification kNotice{"Changed", std::nullopt, {{{"KVShowHIDSensorsKey", true}}}};

class MacNotificationCentresTest : public SystemTest {
 protected:
  MacNotificationCentresTest() { ledger.forgetCalls(); }
  void TearDown() override {
    centres.reset();
    SystemTest::TearDown();
  }
  auto counting(int& count) {
    return [&count](const Notification&) { ++count; };
  }
  static void runMainLoop() { Dispatch::shared().drainMainQueue(); }

  MacMainQueue queue;
  std::optional<MacNotificationCentres> centres{std::in_place, queue};
};

TEST_F(MacNotificationCentresTest, ANoticeOfTheSessionArrivesOnTheMainThreadWithWhatItCarries) {
  std::vector<Notification> heard;
  centres->distributed().addObserver("Changed", SuspensionBehavior::kDefault,
                                     [&](const Notification& notification) {
                                       EXPECT_TRUE(queue.isMainThread());
                                       heard.push_back(notification);
                                     });
  std::thread([&] { centres->distributed().post(kNotice, true); }).join();
  EXPECT_TRUE(heard.empty()) << "it does not wait for observers";
  runMainLoop();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].name, "Changed");
  EXPECT_EQ(heard[0].object, std::nullopt);
  EXPECT_EQ(heard[0].userInfo, kNotice.userInfo);
  EXPECT_EQ(takeCalls(), (Calls{"CFNotificationCenterAddObserver(distributed, Changed, null, 2)",
                                "CFNotificationCenterPostNotification(distributed, Changed, null, "
                                "{\"KVShowHIDSensorsKey\": true}, 1)"}));
}

TEST_F(MacNotificationCentresTest, ANoticeOfAnotherProgramIsHeardOnceByEachObserverOfItsName) {
  int first = 0;
  int second = 0;
  int other = 0;
  centres->distributed().addObserver("Changed", SuspensionBehavior::kDefault, counting(first));
  centres->distributed().addObserver("Changed", SuspensionBehavior::kCoalesce, counting(second));
  centres->distributed().addObserver("Other", SuspensionBehavior::kDefault, counting(other));
  centres->inProcess().addObserver("Changed", SuspensionBehavior::kDefault, counting(other));
  NotificationCenters::shared().postByOther({"Changed", "sender", std::nullopt}, false);
  runMainLoop();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
  EXPECT_EQ(other, 0);
}

TEST_F(MacNotificationCentresTest, WhileSuspendedTheLastOfEachNameWaitsAndAnImmediateOneArrives) {
  std::vector<std::string> heard;
  centres->distributed().addObserver(
      "Changed", SuspensionBehavior::kCoalesce,
      [&](const Notification& notification) { heard.push_back(*notification.object); });
  NotificationCenters::shared().setSuspended(true);
  centres->distributed().post({"Changed", "held", std::nullopt}, false);
  centres->distributed().post({"Changed", "last", std::nullopt}, false);
  centres->distributed().post({"Changed", "now", std::nullopt}, true);
  runMainLoop();
  EXPECT_EQ(heard, (Calls{"now"}));
  NotificationCenters::shared().setSuspended(false);
  runMainLoop();
  EXPECT_EQ(heard, (Calls{"now", "last"}));
}

TEST_F(MacNotificationCentresTest, ARemovedObserverHearsNothingNotEvenWhatWasPostedBefore) {
  int heard = 0;
  const auto token =
      centres->distributed().addObserver("Changed", SuspensionBehavior::kDefault, counting(heard));
  centres->distributed().post(kNotice, true);
  centres->distributed().removeObserver(token);
  centres->distributed().removeObserver(token);
  centres->distributed().removeObserver(0);
  runMainLoop();
  EXPECT_EQ(heard, 0);
  EXPECT_EQ(ledger.callCount("CFNotificationCenterRemoveEveryObserver"), 1);
}

TEST_F(MacNotificationCentresTest, RemovedWhileItsCallIsQueuedAnObserverIsNotCalled) {
  int heard = 0;
  platform::ObserverToken second = 0;
  centres->distributed().addObserver(
      "Changed", SuspensionBehavior::kDefault,
      [&](const Notification&) { centres->distributed().removeObserver(second); });
  second =
      centres->distributed().addObserver("Changed", SuspensionBehavior::kDefault, counting(heard));
  centres->distributed().post(kNotice, true);
  runMainLoop();
  EXPECT_EQ(heard, 0);
}

TEST_F(MacNotificationCentresTest, AHandlerIsReleasedWithItsObserver) {
  const auto held = std::make_shared<int>(0);
  const auto token = centres->distributed().addObserver("Changed", SuspensionBehavior::kDefault,
                                                        [held](const Notification&) {});
  EXPECT_EQ(held.use_count(), 2);
  centres->distributed().removeObserver(token);
  EXPECT_EQ(held.use_count(), 1);
  centres->inProcess().addObserver("Changed", SuspensionBehavior::kDefault,
                                   [held](const Notification&) {});
  centres.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(MacNotificationCentresTest, CentresThatEndRemoveTheirObservers) {
  int heard = 0;
  centres->distributed().addObserver("Changed", SuspensionBehavior::kDefault, counting(heard));
  centres->distributed().post(kNotice, true);
  centres.reset();
  runMainLoop();
  EXPECT_EQ(heard, 0);
}

TEST_F(MacNotificationCentresTest, ANoticeOfTheProcessIsHeardBeforeThePostReturnsOnItsThread) {
  std::thread::id thread;
  centres->inProcess().addObserver("Changed", SuspensionBehavior::kDefault,
                                   [&](const Notification& notification) {
                                     thread = std::this_thread::get_id();
                                     EXPECT_EQ(notification.userInfo, kNotice.userInfo);
                                   });
  std::thread poster([&] { centres->inProcess().post(kNotice, false); });
  const auto expected = poster.get_id();
  poster.join();
  EXPECT_EQ(thread, expected);
}

TEST_F(MacNotificationCentresTest, ANoticeOfTheHostItselfIsReceivedWithoutASenderThatIsNotText) {
  std::vector<Notification> heard;
  centres->inProcess().addObserver(
      "KVDataManagerDidGenerateDatasetNotification", SuspensionBehavior::kDefault,
      [&](const Notification& notification) { heard.push_back(notification); });
  NotificationCenters::shared().postLocally(
      {"KVDataManagerDidGenerateDatasetNotification", std::nullopt, std::nullopt});
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].object, std::nullopt);
  EXPECT_EQ(heard[0].userInfo, std::nullopt);
}

TEST_F(MacNotificationCentresTest, AHandlerMayPostAndAddAndRemoveObservers) {
  int heard = 0;
  centres->inProcess().addObserver(
      "Changed", SuspensionBehavior::kDefault, [&](const Notification&) {
        const auto token =
            centres->inProcess().addObserver("Next", SuspensionBehavior::kDefault, counting(heard));
        centres->inProcess().post({"Next", std::nullopt, std::nullopt}, false);
        centres->inProcess().removeObserver(token);
        centres->inProcess().post({"Next", std::nullopt, std::nullopt}, false);
      });
  centres->inProcess().post(kNotice, false);
  EXPECT_EQ(heard, 1);
}

TEST_F(MacNotificationCentresTest, WithoutATextForItsNameNothingIsPostedOrObserved) {
  int heard = 0;
  ledger.failCall("CFStringCreateWithBytes");
  const auto token =
      centres->inProcess().addObserver("Changed", SuspensionBehavior::kDefault, counting(heard));
  EXPECT_NE(token, 0U);
  centres->inProcess().post(kNotice, false);
  centres->inProcess().removeObserver(token);
  ledger.failCall("CFStringCreateWithBytes");
  centres->inProcess().post(kNotice, false);
  EXPECT_EQ(heard, 0);
}

TEST_F(MacNotificationCentresTest, EveryProgramOfTheSessionIsReached) {
  EXPECT_TRUE(centres->reachesOtherProcesses());
}

}  // namespace
}  // namespace kelvora::testing::mac
