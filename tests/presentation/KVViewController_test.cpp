#include "KelvoraCore/KVViewController.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVThemeManager.h"

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

using Hooks = std::vector<std::string>;

class Screen : public KVViewController {
 public:
  Screen(Platform& platform, Hooks& hooks) : KVViewController(platform), hooks_(hooks) {
    observeInProcess("dataset", [this] { hooks_.emplace_back("dataset"); });
  }
  void localizeUI() override { hooks_.emplace_back("localizeUI"); }
  void configureUI() override { hooks_.emplace_back("configureUI"); }
  void updateUI() override { hooks_.emplace_back("updateUI"); }

 private:
  Hooks& hooks_;
};

class ViewController : public ::testing::Test {
 protected:
  Hooks take() {
    mac_.runMainQueue();
    return std::exchange(hooks_, {});
  }
  void post(const char* name) {
    mac_.platform->notificationCentres().distributed().post({name, std::nullopt, std::nullopt},
                                                            true);
  }

  testing::TestMac mac_;
  Hooks hooks_;
};

TEST_F(ViewController, LoadingConfiguresAndThenLocalizes) {
  Screen screen(*mac_.platform, hooks_);
  EXPECT_TRUE(take().empty());
  screen.viewDidLoad();
  EXPECT_EQ(take(), (Hooks{"configureUI", "localizeUI"}));
}

TEST_F(ViewController, EachNoticeCallsItsHookOnce) {
  Screen screen(*mac_.platform, hooks_);
  screen.viewDidLoad();
  take();
  mac_.settings.setCurrentLanguage("de");
  EXPECT_EQ(take(), Hooks{"localizeUI"});
  mac_.settings.setTempUnitCelsius(false);
  EXPECT_EQ(take(), Hooks{"updateUI"});
  post("KVThemeDidChangeNotification");
  EXPECT_EQ(take(), Hooks{"configureUI"});
  mac_.settings.setUpdateFrequency(1);
  EXPECT_TRUE(take().empty());
}

TEST_F(ViewController, ASystemThemeChangeConfiguresEachScreenOncePerManager) {
  const KVThemeManager manager(*mac_.platform);
  Screen first(*mac_.platform, hooks_);
  Screen second(*mac_.platform, hooks_);
  first.viewDidLoad();
  second.viewDidLoad();
  take();
  post("AppleInterfaceThemeChangedNotification");
  EXPECT_EQ(take(), (Hooks{"configureUI", "configureUI"}));
}

TEST_F(ViewController, LanguageAndSettingsNoticesAreCoalescedWhileSuspended) {
  Screen screen(*mac_.platform, hooks_);
  screen.viewDidLoad();
  const auto& added = mac_.centres.distributedCentre.added;
  ASSERT_EQ(added.size(), 3U);
  EXPECT_EQ(added[0].name, "KVDataManagerLanguageDidChangeNotification");
  EXPECT_EQ(added[0].behavior, platform::SuspensionBehavior::kCoalesce);
  EXPECT_EQ(added[1].name, "KVThemeDidChangeNotification");
  EXPECT_EQ(added[1].behavior, platform::SuspensionBehavior::kDefault);
  EXPECT_EQ(added[2].name, "KVDataManagerSettingsDidChangeNotification");
  EXPECT_EQ(added[2].behavior, platform::SuspensionBehavior::kCoalesce);
}

TEST_F(ViewController, LoadingAgainDoesNotSubscribeAgain) {
  Screen screen(*mac_.platform, hooks_);
  screen.viewDidLoad();
  screen.viewDidLoad();
  take();
  mac_.settings.setTempUnitCelsius(false);
  EXPECT_EQ(take(), Hooks{"updateUI"});
}

TEST_F(ViewController, ADestroyedScreenHearsNothingOnEitherCentre) {
  {
    Screen screen(*mac_.platform, hooks_);
    screen.viewDidLoad();
    mac_.platform->notificationCentres().inProcess().post({"dataset", {}, {}}, true);
    EXPECT_EQ(take().back(), "dataset");
    mac_.settings.setTempUnitCelsius(false);
  }
  mac_.platform->notificationCentres().inProcess().post({"dataset", {}, {}}, true);
  EXPECT_TRUE(take().empty());
  EXPECT_EQ(mac_.centres.distributedCentre.observing, 0);
  EXPECT_EQ(mac_.centres.inProcessCentre.observing, 0);
}

TEST_F(ViewController, TheHooksOfLoadingRunWhenTheScreenIsAlreadySubscribed) {
  struct SubscribedScreen : Screen {
    SubscribedScreen(testing::TestMac& mac, Hooks& hooks)
        : Screen(*mac.platform, hooks), mac_(mac) {}
    void configureUI() override { observing.push_back(observed()); }
    void localizeUI() override { observing.push_back(observed()); }
    int observed() const { return mac_.centres.distributedCentre.observing; }
    std::vector<int> observing;
    testing::TestMac& mac_;
  } screen(mac_, hooks_);
  screen.viewDidLoad();
  EXPECT_EQ(screen.observing, (std::vector<int>{3, 3}));
}

TEST_F(ViewController, EachNoticeCallsTheHandlerThatAScreenOverrides) {
  struct HandlingScreen : Screen {
    using Screen::Screen;
    void handleLanguageDidChangeNotification() override { handled.emplace_back("language"); }
    void handleThemeDidChangeNotification() override { handled.emplace_back("theme"); }
    void handleSettingsDidChangeNotification() override { handled.emplace_back("settings"); }
    Hooks handled;
  } screen(*mac_.platform, hooks_);
  screen.viewDidLoad();
  take();
  mac_.settings.setCurrentLanguage("de");
  EXPECT_TRUE(take().empty());
  post("KVThemeDidChangeNotification");
  EXPECT_TRUE(take().empty());
  mac_.settings.setTempUnitCelsius(false);
  EXPECT_TRUE(take().empty());
  EXPECT_EQ(screen.handled, (Hooks{"language", "theme", "settings"}));
}

TEST_F(ViewController, AScreenThatNeverLoadedEndsQuietly) {
  { const Screen screen(*mac_.platform, hooks_); }
  mac_.settings.setTempUnitCelsius(false);
  EXPECT_TRUE(take().empty());
}

}  // namespace
}  // namespace kelvora
