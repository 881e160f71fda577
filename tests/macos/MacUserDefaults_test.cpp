#include "platforms/macos/settings/MacUserDefaults.h"

#include <filesystem>

#include "platforms/posix/FileLock.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacUserDefaults;

constexpr char kSuite[] = "group.com.kelvora";

class MacUserDefaultsTest : public SystemTest {
 protected:
  MacUserDefaultsTest() {
    Cocoa::shared().containers[kSuite] = folder.path("container");
    suite = defaults.suite(kSuite);
    ledger.forgetCalls();
  }
  ~MacUserDefaultsTest() override { suite.reset(); }
  void TearDown() override {
    suite.reset();
    SystemTest::TearDown();
  }

  const TemporaryFolder folder;
  MacUserDefaults defaults;
  std::unique_ptr<platform::UserDefaultsSuite> suite;
};

TEST_F(MacUserDefaultsTest, AReadSeesWhatAnotherProgramWroteSinceTheLastOne) {
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
  Preferences::shared().setByOther(kSuite, "KVMainSensor", "TC0P");
  EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
  Preferences::shared().setByOther(kSuite, "KVMainSensor", std::nullopt);
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
  EXPECT_EQ(takeCalls().size(), 6U);
}

TEST_F(MacUserDefaultsTest, ALookSynchronisesFirstAndWritesNothing) {
  suite->object("a");
  suite->objects();
  EXPECT_EQ(takeCalls(), (Calls{"CFPreferencesAppSynchronize(group.com.kelvora)",
                                "CFPreferencesCopyAppValue(a, group.com.kelvora)",
                                "CFPreferencesAppSynchronize(group.com.kelvora)",
                                "CFPreferencesCopyMultiple(group.com.kelvora)"}));
  EXPECT_FALSE(std::filesystem::exists(folder.path("container")));
}

TEST_F(MacUserDefaultsTest, AWriteIsOnDiskWhenItReturnsAndOneOfAnotherKeyStays) {
  Preferences::shared().setByOther(kSuite, "other", 7);
  EXPECT_TRUE(suite->setObject("own", PropertyListValue::Array{1, "two"}));
  EXPECT_EQ(
      Preferences::shared().onDisk(kSuite),
      (PropertyListValue::Dictionary{{"other", 7}, {"own", PropertyListValue::Array{1, "two"}}}));
  EXPECT_EQ(takeCalls(), (Calls{"CFPreferencesAppSynchronize(group.com.kelvora)",
                                "CFPreferencesCopyValue(own, group.com.kelvora)",
                                "CFPreferencesSetAppValue(own, [1, \"two\"], group.com.kelvora)",
                                "CFPreferencesAppSynchronize(group.com.kelvora)"}));
}

TEST_F(MacUserDefaultsTest, AWriteThatFailsIsLoggedOnceAndTakenBackAndLaterOnesSucceed) {
  ASSERT_TRUE(suite->setObject("key", "old"));
  ::testing::internal::CaptureStderr();
  ledger.failCallsFrom("CFPreferencesAppSynchronize");
  EXPECT_FALSE(suite->setObject("key", "new"));
  EXPECT_FALSE(suite->setObject("fresh", "new"));
  EXPECT_FALSE(suite->removeObject("key"));
  EXPECT_EQ(suite->object("key"), PropertyListValue("old")) << "what was read last remains";
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Settings: group.com.kelvora: cannot write key\n");
  ledger.failNothing();
  EXPECT_TRUE(suite->setObject("other", 1));
  EXPECT_EQ(Preferences::shared().onDisk(kSuite),
            (PropertyListValue::Dictionary{{"key", "old"}, {"other", 1}}));
  ::testing::internal::CaptureStderr();
  ledger.failCall("CFPreferencesAppSynchronize", 2);
  EXPECT_FALSE(suite->setObject("key", "new"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Settings: group.com.kelvora: cannot write key\n");
}

TEST_F(MacUserDefaultsTest, EachCallOfAWriteThatFailsLeavesNothingOpen) {
  for (const char* function : {"CFStringCreateWithBytes", "CFNumberCreate",
                               "CFPreferencesCopyValue", "CFPreferencesAppSynchronize"}) {
    for (int call = 1; call <= 2; ++call) {
      ledger.failCall(function, call);
      suite->setObject("key", 1);
      suite->setObjectIfAbsent("absent", 1);
      suite->object("key");
      ledger.failNothing();
    }
  }
  EXPECT_TRUE(suite->setObject("key", 2));
  EXPECT_EQ(suite->object("key"), PropertyListValue(2));
}

TEST_F(MacUserDefaultsTest, AValueThatCannotBecomeAnObjectRemovesNothing) {
  ASSERT_TRUE(suite->setObject("key", 1));
  ledger.failCall("CFNumberCreate");
  EXPECT_FALSE(suite->setObject("key", 2));
  EXPECT_EQ(suite->object("key"), PropertyListValue(1));
}

TEST_F(MacUserDefaultsTest, ADefaultIsStoredOnlyWhereTheKeyIsAbsent) {
  EXPECT_EQ(suite->setObjectIfAbsent("key", "default"), PropertyListValue("default"));
  Preferences::shared().setByOther(kSuite, "key", "chosen");
  EXPECT_EQ(suite->setObjectIfAbsent("key", "default"), PropertyListValue("chosen"));
  EXPECT_EQ(Preferences::shared().onDisk(kSuite).at("key"), PropertyListValue("chosen"));
}

TEST_F(MacUserDefaultsTest, AChangeStartsFromWhatAnotherProgramStored) {
  ASSERT_TRUE(suite->setObject("key", 1));
  Preferences::shared().setByOther(kSuite, "key", 5);
  const auto next = [](const std::optional<PropertyListValue>& held) {
    return std::optional<PropertyListValue>(held.value().integerValue() + 1);
  };
  EXPECT_EQ(suite->changeObject("key", next, platform::SuiteWrite::kChoice), PropertyListValue(6));
  EXPECT_EQ(Preferences::shared().onDisk(kSuite).at("key"), PropertyListValue(6));
  const auto leave = [](const auto&) { return std::optional<PropertyListValue>(); };
  EXPECT_EQ(suite->changeObject("key", leave, platform::SuiteWrite::kChoice), PropertyListValue(6));
}

TEST_F(MacUserDefaultsTest, AChangeInASuiteThatCannotBeReadIsReportedAndNotMade) {
  ledger.failCallsFrom("CFPreferencesAppSynchronize");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(suite->changeObject(
                "key", [](const auto&) { return std::optional<PropertyListValue>(1); },
                platform::SuiteWrite::kChoice),
            std::nullopt);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Settings: group.com.kelvora: cannot write key\n");
  ledger.failNothing();
  EXPECT_EQ(suite->object("key"), std::nullopt);
}

TEST_F(MacUserDefaultsTest, ADefaultIsStoredWhileTheLockIsHeld) {
  bool wasHeld = false;
  Preferences::shared().onSynchronize = [&] {
    wasHeld =
        !platform::lockFile(folder.path("container/Settings.lock"), std::chrono::milliseconds(0))
             .isOpen();
  };
  suite->setObjectIfAbsent("key", 1);
  EXPECT_TRUE(wasHeld);
  wasHeld = false;
  suite->setObject("key", 2);
  EXPECT_TRUE(wasHeld);
}

TEST_F(MacUserDefaultsTest, WhileAnotherProgramWritesADefaultIsNotStoredButAChoiceIs) {
  std::filesystem::create_directory(folder.path("container"));
  const auto other =
      platform::lockFile(folder.path("container/Settings.lock"), std::chrono::milliseconds(0));
  ASSERT_TRUE(other.isOpen());
  EXPECT_EQ(suite->setObjectIfAbsent("key", 1), std::nullopt);
  EXPECT_TRUE(Preferences::shared().onDisk(kSuite).empty());
  EXPECT_TRUE(suite->setObject("key", 2));
}

TEST_F(MacUserDefaultsTest, ADefaultIsNotStoredInASuiteThatCannotBeRead) {
  ledger.failCallsFrom("CFPreferencesAppSynchronize");
  EXPECT_EQ(suite->setObjectIfAbsent("key", 1), std::nullopt);
  ledger.failNothing();
  EXPECT_EQ(suite->object("key"), std::nullopt);
}

TEST_F(MacUserDefaultsTest, AGroupWithoutAFolderStillHasSettings) {
  const auto other = defaults.suite("group.other");
  EXPECT_TRUE(other->setObject("key", 1));
  EXPECT_EQ(other->setObjectIfAbsent("absent", 2), PropertyListValue(2));
  EXPECT_EQ(other->objects().size(), 2U);
}

TEST_F(MacUserDefaultsTest, AGlobalValueIsThatOfTheUsersDomainNow) {
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), std::nullopt);
  Preferences::shared().setByOther(kGlobalDomain, "AppleInterfaceStyle", "Dark");
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), PropertyListValue("Dark"));
  ledger.failCall("CFPreferencesCopyValue");
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), std::nullopt);
  EXPECT_EQ(defaults.fileOfSuite(kSuite), std::nullopt);
}

}  // namespace
}  // namespace kelvora::testing::mac
