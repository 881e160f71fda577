#include "KelvoraCore/KVThemeManager.h"

#include <gtest/gtest.h>

#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

constexpr const char* kSystemChange = "AppleInterfaceThemeChangedNotification";

class Theme : public ::testing::Test {
 protected:
  void changeSystemTheme() {
    mac_.centres.behind->distributed().post({kSystemChange, std::nullopt, std::nullopt}, true);
    mac_.runMainQueue();
  }
  const auto& posts() { return mac_.centres.distributedCentre.posts; }

  testing::TestMac mac_;
};

TEST_F(Theme, OnlyTheTextDarkIsDark) {
  EXPECT_FALSE(KVThemeManager::isDarkMode(*mac_.platform));
  mac_.setInterfaceStyle("Dark");
  EXPECT_TRUE(KVThemeManager::isDarkMode(*mac_.platform));
  for (const PropertyListValue& style :
       {PropertyListValue("dark"), PropertyListValue("Light"), PropertyListValue("Auto"),
        PropertyListValue("Darker"), PropertyListValue(true)}) {
    mac_.setInterfaceStyle(style);
    EXPECT_FALSE(KVThemeManager::isDarkMode(*mac_.platform));
  }
}

TEST_F(Theme, ASystemThemeChangeIsAnnouncedExactlyOncePerManager) {
  const KVThemeManager manager(*mac_.platform);
  EXPECT_TRUE(posts().empty());
  const auto& added = mac_.centres.distributedCentre.added;
  ASSERT_EQ(added.size(), 1U);
  EXPECT_EQ(added[0].behavior, platform::SuspensionBehavior::kDefault);
  changeSystemTheme();
  ASSERT_EQ(posts().size(), 1U);
  EXPECT_EQ(posts()[0].notification.name, "KVThemeDidChangeNotification");
  EXPECT_FALSE(posts()[0].notification.object);
  EXPECT_FALSE(posts()[0].notification.userInfo);
  EXPECT_FALSE(posts()[0].deliverImmediately);
  const KVThemeManager another(*mac_.platform);
  changeSystemTheme();
  EXPECT_EQ(posts().size(), 3U);
}

TEST_F(Theme, WithoutAManagerNothingIsAnnounced) {
  { const KVThemeManager gone(*mac_.platform); }
  changeSystemTheme();
  EXPECT_TRUE(posts().empty());
  EXPECT_EQ(mac_.centres.distributedCentre.observing, 0);
}

TEST_F(Theme, TheMenuBarProgramMarksItself) {
  KVThemeManager manager(*mac_.platform);
  EXPECT_FALSE(manager.isMenuApp());
  manager.setIsMenuApp(true);
  EXPECT_TRUE(manager.isMenuApp());
}

TEST(KVThemeManager, ThereIsOneForTheProcess) {
  testing::installRecordedPlatform("Macmini8,1");
  EXPECT_EQ(&KVThemeManager::sharedInstance(), &KVThemeManager::sharedInstance());
  EXPECT_FALSE(KVThemeManager::isDarkMode());
}

}  // namespace
}  // namespace kelvora
