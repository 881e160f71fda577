#include "KelvoraCore/NotificationObserver.h"

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ports/Ports.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

constexpr char kName[] = "KVDataManagerSettingsDidChangeNotification";

class NotificationObserverTest : public ::testing::Test {
 protected:
  void post(const Notification& notification) {
    platform_->notificationCentres().distributed().post(notification, true);
  }
  void postInProcess(const Notification& notification) {
    platform_->notificationCentres().inProcess().post(notification, true);
  }
  void runMainQueue() { testing::runDry(platform_->mainQueue()); }
  NotificationObserver observer(const std::string& name) {
    return {name, [this](const Notification& notification) { heard_.push_back(notification); },
            *platform_};
  }

  std::unique_ptr<Platform> platform_ = recordedPlatform(recordedMachine("iMac19,1"));
  std::vector<Notification> heard_;
};

TEST_F(NotificationObserverTest, HearsADistributedNoticeOnceFromTheMainQueue) {
  const NotificationObserver observer = this->observer(kName);
  post({kName, "sender", {{{"KVShowHIDSensorsKey", true}}}});
  EXPECT_TRUE(heard_.empty());
  runMainQueue();
  ASSERT_EQ(heard_.size(), 1U);
  EXPECT_EQ(heard_[0].name, kName);
  EXPECT_EQ(heard_[0].object, "sender");
  EXPECT_EQ(heard_[0].userInfo, (PropertyListValue::Dictionary{{"KVShowHIDSensorsKey", true}}));
}

TEST_F(NotificationObserverTest, HearsANoticeOfThisProcessOnTheMainThreadWhoeverPostsIt) {
  std::vector<std::thread::id> threads;
  const NotificationObserver observer(
      kName, [&](const Notification&) { threads.push_back(std::this_thread::get_id()); },
      *platform_);
  std::thread([&] { postInProcess({kName, {}, {}}); }).join();
  EXPECT_TRUE(threads.empty());
  runMainQueue();
  EXPECT_EQ(threads, std::vector{std::this_thread::get_id()});
}

TEST_F(NotificationObserverTest, HearsOnlyTheNoticesOfItsName) {
  const NotificationObserver observer = this->observer(kName);
  post({"KVThemeDidChangeNotification", {}, {}});
  postInProcess({"KVThemeDidChangeNotification", {}, {}});
  runMainQueue();
  EXPECT_TRUE(heard_.empty());
}

TEST_F(NotificationObserverTest, AfterItsEndTheHandlerIsNotCalledForEarlierNoticesEither) {
  {
    const NotificationObserver observer = this->observer(kName);
    post({kName, {}, {}});
    postInProcess({kName, {}, {}});
  }
  post({kName, {}, {}});
  postInProcess({kName, {}, {}});
  runMainQueue();
  EXPECT_TRUE(heard_.empty());
}

TEST_F(NotificationObserverTest, AHandlerMayEndItsOwnObserver) {
  for (const bool distributed : {true, false}) {
    int heard = 0;
    std::unique_ptr<NotificationObserver> observer;
    // Longer than what a function object holds without memory of its own.
    const std::string text(100, 'x');
    const auto handler = [&heard, &observer, text](const Notification&) {
      observer.reset();
      heard += text.size() == 100 ? 1 : 100;
    };
    observer = std::make_unique<NotificationObserver>(kName, handler, *platform_);
    for (int i = 0; i < 2; ++i) {
      distributed ? post({kName, {}, {}}) : postInProcess({kName, {}, {}});
    }
    runMainQueue();
    EXPECT_EQ(heard, 1);
  }
}

TEST_F(NotificationObserverTest, AMovedObserverHearsOnceAndAnAssignmentEndsTheEarlierOne) {
  NotificationObserver first = observer(kName);
  NotificationObserver second = std::move(first);
  post({kName, {}, {}});
  runMainQueue();
  EXPECT_EQ(heard_.size(), 1U);
  second = observer("Other");
  post({kName, {}, {}});
  post({"Other", {}, {}});
  runMainQueue();
  ASSERT_EQ(heard_.size(), 2U);
  EXPECT_EQ(heard_[1].name, "Other");
}

TEST_F(NotificationObserverTest, WhatAHandlerThrowsLeavesTheMainQueue) {
  const NotificationObserver observer(
      kName, [](const Notification&) { throw std::runtime_error("full disk"); }, *platform_);
  post({kName, {}, {}});
  EXPECT_THROW(runMainQueue(), std::runtime_error);
}

TEST_F(NotificationObserverTest, NoticesWithoutABusStayWithinThisProcess) {
  EXPECT_FALSE(NotificationObserver::reachesOtherPrograms(*Platform::live()));
}

}  // namespace
}  // namespace kelvora::testing
