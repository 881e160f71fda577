#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVBundleIdentifiers.h"
#include "KelvoraCore/KVUtils.h"

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kMenuIdentifier = kMenuAppBundleIdentifier;

// Applications that are only a list, and what was asked of them.
class ListedApplications : public platform::Workspace {
 public:
  bool launchApplication(std::string_view bundleIdentifier) override {
    requests.push_back("launch " + std::string(bundleIdentifier));
    return true;
  }
  void openApplication(std::string_view path,
                       std::function<void(std::optional<std::string>)> completion) override {
    requests.push_back("open " + std::string(path));
    completion(std::nullopt);
  }
  std::vector<platform::RunningApplication> runningApplications() override { return running; }
  std::optional<platform::RunningApplication> runningApplication(std::int64_t) override {
    return std::nullopt;
  }
  bool terminate(const platform::RunningApplication& application, bool force) override {
    requests.push_back((force ? "kill " : "quit ") + std::to_string(application.pid));
    return std::erase_if(running, [&](const auto& each) { return each.pid == application.pid; }) >
           0;
  }

  std::vector<platform::RunningApplication> running;
  std::vector<std::string> requests;
};

class Companions : public ::testing::Test {
 protected:
  Companions() {
    auto workspace = std::make_unique<ListedApplications>();
    workspace_ = workspace.get();
    mac_.platform->ports().workspace = std::move(workspace);
    mac_.resources.write("Menu.app/readme", "");
  }

  // Makes the platform the one that the operations without a platform use.
  Platform& installed() {
    Platform& platform = *mac_.platform;
    Platform::install(std::move(mac_.platform));
    return platform;
  }

  testing::TestMac mac_;
  ListedApplications* workspace_ = nullptr;
  std::string app_ = mac_.resources.path("Menu.app");
};

TEST_F(Companions, ATerminationAsksEveryInstanceOfTheApplicationOnce) {
  workspace_->running = {
      {1, kMenuIdentifier, ""}, {2, "com.apple.Safari", ""}, {3, kMenuIdentifier, ""}};
  const auto before = workspace_->running;
  KVUtils::terminateApp(kMenuIdentifier, false, *mac_.platform);
  EXPECT_THAT(workspace_->requests, ElementsAre("quit 1", "quit 3"));
  workspace_->running = before;
  workspace_->requests.clear();
  KVUtils::terminateApp(kMenuIdentifier, true, *mac_.platform);
  EXPECT_THAT(workspace_->requests, ElementsAre("kill 1", "kill 3"));
}

TEST_F(Companions, OneIsOpenedWithoutACompletion) {
  KVUtils::openApp(kMenuIdentifier, app_, nullptr, *mac_.platform);
  EXPECT_NO_THROW(mac_.runMainQueue());
  EXPECT_THAT(workspace_->requests, ElementsAre("open " + app_));
}

TEST_F(Companions, WithoutAPlatformTheCurrentOnesApplicationsAreMeant) {
  installed();
  KVUtils::loadMainApp();
  EXPECT_FALSE(KVUtils::isAppRunning(kMenuIdentifier));
  KVUtils::openApp(kMenuIdentifier, app_, nullptr);
  workspace_->running = {{1, kMenuIdentifier, ""}};
  EXPECT_TRUE(KVUtils::isAppRunning(kMenuIdentifier));
  KVUtils::openApp(kMenuIdentifier, app_, true, nullptr);
  workspace_->running = {{2, kMenuIdentifier, ""}};
  KVUtils::openApp(kMenuIdentifier, app_, false, nullptr);
  KVUtils::terminateApp(kMenuIdentifier, false);
  workspace_->running = {{3, kMenuIdentifier, ""}};
  bool ended = false;
  KVUtils::terminateApp(kMenuIdentifier, true, [&] { ended = true; });
  EXPECT_TRUE(ended);
  EXPECT_THAT(workspace_->requests,
              ElementsAre("launch " + std::string(kMainAppBundleIdentifier), "open " + app_,
                          "kill 1", "open " + app_, "quit 2", "kill 3"));
}

TEST_F(Companions, WithoutAPlatformTheCurrentOneIsUsed) {
  testing::wrapPort<testing::ForwardingSystemFacts>(mac_.platform->ports().systemFacts)
      .onActiveDisplays = [] {
    return std::vector{platform::Display{false, 2560, 1440}};
  };
  auto& files = testing::wrapPort<testing::ForwardingFiles>(mac_.platform->ports().files);
  files.onApplicationSupportFolder = [] { return "/support"; };
  files.onExists = [](const std::string&) { return true; };
  files.onAttributes = [](const std::string&) -> std::optional<platform::FileAttributes> {
    return {{"root", "admin", 06555}};
  };
  installed();
  EXPECT_TRUE(KVUtils::isExternalDisplayConnected());
  EXPECT_EQ(KVUtils::numOfDisplays(), 1);
  EXPECT_TRUE(KVUtils::isSMCPermissionGranted());
}

TEST_F(Companions, WithoutAPlatformBroadcastsGoToTheCurrentOnesPrograms) {
  const auto& posts = mac_.centres.distributedCentre.posts;
  EXPECT_THAT(posts, IsEmpty());
  Platform& platform = installed();
  KVUtils::broadcastNotification("plain");
  KVUtils::broadcastNotification("full", {{"KVFanValueTypeKey", 1}});
  platform.mainQueue().runPending();
  ASSERT_EQ(posts.size(), 2U);
  EXPECT_EQ(posts[0].notification.name, "plain");
  EXPECT_EQ(posts[1].notification.userInfo,
            (PropertyListValue::Dictionary{{"KVFanValueTypeKey", 1}}));
}

}  // namespace
}  // namespace kelvora
