#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/NotificationObserver.h"
#include "KelvoraCore/SensorController.h"

#include "ports/MainQueue.h"
#include "ports/Ports.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SensorLists.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

// Centres that keep what is posted to the distributed one.
class PostedNotifications : public platform::NotificationCentres {
 public:
  struct Post {
    platform::Notification notification;
    bool deliverImmediately;
  };
  platform::NotificationCentre& distributed() override { return distributed_; }
  platform::NotificationCentre& inProcess() override { return inProcess_; }
  bool reachesOtherProcesses() const override { return false; }
  const std::vector<Post>& distributedPosts() const { return distributed_.posts; }
  const std::vector<Post>& inProcessPosts() const { return inProcess_.posts; }

  static PostedNotifications& install(Platform& platform) {
    auto made = std::make_unique<PostedNotifications>();
    PostedNotifications& result = *made;
    platform.ports().notificationCentres = std::move(made);
    return result;
  }

 private:
  struct Centre : platform::NotificationCentre {
    platform::ObserverToken addObserver(
        const std::string&, platform::SuspensionBehavior,
        std::function<void(const platform::Notification&)>) override {
      return 1;
    }
    void removeObserver(platform::ObserverToken) override {}
    void post(const platform::Notification& notification, bool deliverImmediately) override {
      posts.push_back({notification, deliverImmediately});
    }
    std::vector<Post> posts;
  };
  Centre distributed_;
  Centre inProcess_;
};

// A Mac whose key TC0P cannot be read once it is known.
class FailingSMC : public ::testing::Test {
 protected:
  void readFailing(SensorController& controller) {
    controller.getAllSensors();
    smc_.setOverride([](const SMCCallRecord& call,
                        std::span<std::byte>) -> std::optional<platform::KernelStatus> {
      if (call.key == SMCPackedKey("TC0P")) {
        return platform::kKernelError;
      }
      return std::nullopt;
    });
    EXPECT_THAT(names(controller.getAllSensors()), ElementsAre(Pair("TB0T", "Battery Max")));
  }

  Platform& platform_ = installRecordedPlatform(machineWithKeys(
      {smcKey("FNum", "ui8 ", {0}), temperature("TC0P", 40), temperature("TB0T", 30)}));
  ForwardingSMC& smc_ = ForwardingSMC::wrap(platform_);
  PostedNotifications& posted_ = PostedNotifications::install(platform_);
};

TEST_F(FailingSMC, AFailedReadIsPostedFromTheMainQueue) {
  SensorController controller(platform_);
  readFailing(controller);
  EXPECT_THAT(posted_.distributedPosts(), IsEmpty());
  EXPECT_EQ(platform_.mainQueue().runPending(), 1);
  ASSERT_EQ(posted_.distributedPosts().size(), 1U);
  const auto& [notification, deliverImmediately] = posted_.distributedPosts().front();
  EXPECT_EQ(notification.name, "SensorControllerDidFailNotification");
  EXPECT_EQ(notification.object, "SMC read (TC0P) failed");
  EXPECT_EQ(notification.userInfo, std::nullopt);
  EXPECT_TRUE(deliverImmediately);
  EXPECT_THAT(posted_.inProcessPosts(), IsEmpty());
}

TEST_F(FailingSMC, AFailureIsPostedAlsoWhenTheControllerIsGone) {
  {
    SensorController controller(platform_);
    readFailing(controller);
  }
  platform_.mainQueue().runPending();
  EXPECT_EQ(posted_.distributedPosts().size(), 1U);
}

TEST_F(FailingSMC, AFailureOnAnotherThreadIsPostedFromTheMainThread) {
  SensorController controller(platform_);
  platform_.mainQueue().runPending();
  std::thread([&] { readFailing(controller); }).join();
  EXPECT_THAT(posted_.distributedPosts(), IsEmpty());
  platform_.mainQueue().runPending();
  EXPECT_EQ(posted_.distributedPosts().size(), 1U);
}

TEST_F(FailingSMC, ALookUpThatFailsIsZeroAndPosted) {
  SensorController controller(platform_);
  readFailing(controller);
  platform_.mainQueue().runPending();
  EXPECT_EQ(controller.getSensorValueByKey("TC0P", SensorTypeTemperature, SensorSourceSMC, {}), 0);
  platform_.mainQueue().runPending();
  EXPECT_EQ(posted_.distributedPosts().size(), 2U);
}

TEST_F(FailingSMC, EachMessageIsPostedInItsOrder) {
  SensorController controller(platform_);
  controller.smcReadValueFailedWithError("first");
  controller.smcReadValueFailedWithError("second");
  platform_.mainQueue().runPending();
  std::vector<std::string> messages;
  for (const auto& post : posted_.distributedPosts()) {
    messages.push_back(post.notification.object.value());
  }
  EXPECT_THAT(messages, ElementsAre("first", "second"));
}

// As a host sees it: it has a queue to drain, whatever machines it reads.
TEST(FailureOfASecondMachine, IsHeardThroughTheQueueOfTheCurrentOne) {
  Platform::current();
  const auto second = Platform::recordedFromFile(KELVORA_MACHINES "/MacBookPro15,1.json");
  std::vector<std::string> heard;
  const NotificationObserver observer(
      SensorControllerDidFailNotification,
      [&](const Notification& notification) { heard.push_back(notification.object.value_or("")); },
      *second);
  SensorController(*second).getAllSensors();
  KVMainQueue::runUntil(std::chrono::steady_clock::now());
  KVMainQueue::runPending();
  EXPECT_THAT(heard, Contains("SMC read (F0ID) failed"));
}

}  // namespace
}  // namespace kelvora::testing
