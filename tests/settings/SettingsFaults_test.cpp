// A program whose reads or writes of the suite fail for a while, beside another program that keeps
// writing: nothing older wins.
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/KVSettingsSnapshot.h"

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/ChildWork.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/RecordedNotices.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

using testing::ResourceLimit;
using Dictionary = PropertyListValue::Dictionary;

constexpr char kGroup[] = "group.com.kelvora";

std::unique_ptr<Platform> platformOn(const std::string& folder) {
  auto platform = testing::recordedPlatform(testing::recordedMachine("Macmini8,1"));
  platform->ports().userDefaults = std::make_unique<platform::LinuxUserDefaults>(folder);
  return platform;
}

class SettingsFaults : public ::testing::Test {
 protected:
  SettingsFaults() { ::testing::internal::CaptureStderr(); }
  ~SettingsFaults() override { ::testing::internal::GetCapturedStderr(); }

  // What another program finds and does.
  std::unique_ptr<platform::UserDefaultsSuite> other() const {
    return platform::LinuxUserDefaults(folder_.path()).suite(kGroup);
  }

  testing::TemporaryFolder folder_;
  std::unique_ptr<Platform> platform_ = platformOn(folder_.path());
  testing::RecordedNotices notices_{*platform_};
  KVSettings settings_{*platform_};
};

TEST_F(SettingsFaults, ADefaultIsOnDiskWhenTheGetterReturns) {
  EXPECT_TRUE(settings_.tempUnitCelsius());
  EXPECT_EQ(other()->objects(), (Dictionary{{"KVTempUnitCelsius", true}}));
}

TEST_F(SettingsFaults, AfterALackOfDescriptorsTheStoredValueIsReadAndKept) {
  ASSERT_TRUE(other()->setObject("KVTempUnitCelsius", false));
  {
    const ResourceLimit descriptors(RLIMIT_NOFILE, 3);
    EXPECT_TRUE(settings_.tempUnitCelsius());
  }
  EXPECT_FALSE(settings_.tempUnitCelsius());
  EXPECT_TRUE(settings_.setAppLaunchCount(5));
  EXPECT_EQ(other()->object("KVTempUnitCelsius"), PropertyListValue(false));
}

TEST_F(SettingsFaults, ADefaultThatMetAFullDiskIsNotStoredOverALaterChoice) {
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_TRUE(settings_.tempUnitCelsius());
  }
  ASSERT_TRUE(other()->setObject("KVTempUnitCelsius", false));
  EXPECT_FALSE(settings_.tempUnitCelsius());
  EXPECT_TRUE(settings_.setAppLaunchCount(5));
  EXPECT_EQ(other()->object("KVTempUnitCelsius"), PropertyListValue(false));
}

TEST_F(SettingsFaults, ATextThatWouldBeStoredAsAnotherOneIsRefused) {
  ASSERT_TRUE(settings_.setFileLoggingPath("/tmp/log.csv"));
  ASSERT_TRUE(settings_.setCurrentLanguage("de"));
  notices_.take();
  for (const std::string& text : {std::string("/tmp/\xe4"), std::string("a\0b", 3)}) {
    EXPECT_FALSE(settings_.setFileLoggingPath(text));
    EXPECT_FALSE(settings_.setCurrentLanguage(text));
    EXPECT_FALSE(settings_.setValue(settingOf(KVSettingID::kMenuSensors),
                                    PropertyListValue::Array{"TC0P", text}));
    EXPECT_FALSE(settings_.setValue(settingOf(KVSettingID::kDropdownItems),
                                    PropertyListValue::Array{Dictionary{{text, true}}}));
  }
  EXPECT_TRUE(notices_.take().empty());
  EXPECT_EQ(settings_.fileLoggingPath(), "/tmp/log.csv");
  EXPECT_EQ(settings_.currentLanguage(), "de");
  EXPECT_EQ(other()->objects(),
            (Dictionary{{"KVFileLoggingPathKey", "/tmp/log.csv"}, {"CURRENT_LANGUAGE_KEY", "de"}}));
  EXPECT_TRUE(settings_.setFileLoggingPath("/tmp/\xc3\xa4"));
  EXPECT_EQ(settings_.fileLoggingPath(), "/tmp/\xc3\xa4");
}

TEST_F(SettingsFaults, ASetterThatFailedSaysSoAndItsValueDoesNotComeBack) {
  ASSERT_TRUE(other()->setObject("KVUpdateFrequencyKey", 0));
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_FALSE(settings_.setUpdateFrequency(1));
  }
  EXPECT_EQ(settings_.updateFrequency(), 0);
  EXPECT_TRUE(notices_.take().empty());
  ASSERT_TRUE(other()->setObject("KVUpdateFrequencyKey", 2));
  EXPECT_TRUE(settings_.setAppLaunchCount(5));
  EXPECT_EQ(settings_.updateFrequency(), 2);
  EXPECT_EQ(other()->object("KVUpdateFrequencyKey"), PropertyListValue(2));
}

TEST_F(SettingsFaults, ALanguageThatCouldNotBeStoredCanBeChosenAgain) {
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_FALSE(settings_.setCurrentLanguage("de"));
  }
  EXPECT_TRUE(settings_.setCurrentLanguage("de"));
  EXPECT_EQ(other()->object("CURRENT_LANGUAGE_KEY"), PropertyListValue("de"));
  EXPECT_EQ(notices_.take().size(), 1U);
}

TEST_F(SettingsFaults, ALanguageThatIsOnlyADefaultCanBeChosen) {
  ASSERT_TRUE(other()->setObject("CURRENT_LANGUAGE_KEY", "de"));
  std::string shown;
  {
    const ResourceLimit descriptors(RLIMIT_NOFILE, 3);
    shown = settings_.currentLanguage();
  }
  EXPECT_EQ(shown, "en");
  EXPECT_TRUE(settings_.setCurrentLanguage("en"));
  EXPECT_EQ(other()->object("CURRENT_LANGUAGE_KEY"), PropertyListValue("en"));
}

TEST_F(SettingsFaults, GettersLeaveADamagedSuiteAsItIs) {
  const std::string file = std::string(kGroup) + "/Settings.plist";
  folder_.write(file, "damaged");
  for (const KVSetting& setting : allSettings()) {
    settings_.value(setting);
  }
  EXPECT_EQ(folder_.read(file), "damaged");
}

TEST_F(SettingsFaults, AProgramThatReadsEverythingLosesNoChoiceOfAnother) {
  for (int round = 0; round < 30; ++round) {
    const testing::TemporaryFolder fresh;
    testing::ChildWork reader([&] {
      const auto platform = platformOn(fresh.path());
      KVSettings settings(*platform);
      for (const KVSetting& setting : allSettings()) {
        settings.value(setting);
      }
      return 0;
    });
    const auto platform = platformOn(fresh.path());
    KVSettings chooser(*platform);
    EXPECT_TRUE(chooser.setTempUnitCelsius(false));
    EXPECT_TRUE(chooser.setShowIconInMenu(false));
    EXPECT_TRUE(chooser.setShowTempInMenu(false));
    ASSERT_EQ(reader.wait(), 0);
    ASSERT_FALSE(chooser.tempUnitCelsius() || chooser.showIconInMenu() || chooser.showTempInMenu())
        << round;
  }
}

// A suite in which another program stores a value just after this one has found none.
class RacingSuite : public platform::UserDefaultsSuite {
 public:
  RacingSuite(std::unique_ptr<platform::UserDefaultsSuite> behind, std::function<void()> race)
      : behind_(std::move(behind)), race_(std::move(race)) {}
  std::optional<PropertyListValue> object(std::string_view key) override {
    auto found = behind_->object(key);
    race_();
    return found;
  }
  Dictionary objects() override { return behind_->objects(); }
  bool setObject(std::string_view key, PropertyListValue value) override {
    return behind_->setObject(key, std::move(value));
  }
  bool removeObject(std::string_view key) override { return behind_->removeObject(key); }
  std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                platform::SuiteWrite reason) override {
    return behind_->changeObject(key, change, reason);
  }

 private:
  std::unique_ptr<platform::UserDefaultsSuite> behind_;
  std::function<void()> race_;
};

class RacingDefaults : public platform::UserDefaults {
 public:
  RacingDefaults(std::string folder, std::function<void()> race)
      : behind_(std::move(folder)), race_(std::move(race)) {}
  std::unique_ptr<platform::UserDefaultsSuite> suite(const std::string& name) override {
    return std::make_unique<RacingSuite>(behind_.suite(name), race_);
  }
  std::optional<PropertyListValue> globalObject(std::string_view) override { return {}; }

 private:
  platform::LinuxUserDefaults behind_;
  std::function<void()> race_;
};

TEST_F(SettingsFaults, AGetterReturnsWhatAnotherProgramStoredWhileItLooked) {
  platform_->ports().userDefaults = std::make_unique<RacingDefaults>(
      folder_.path(), [&] { other()->setObject("KVTempUnitCelsius", false); });
  KVSettings settings(*platform_);
  EXPECT_FALSE(settings.tempUnitCelsius());
  EXPECT_EQ(other()->object("KVTempUnitCelsius"), PropertyListValue(false));
}

}  // namespace
}  // namespace kelvora
