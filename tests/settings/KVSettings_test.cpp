#include "KelvoraCore/KVSettings.h"

#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/Sensor.h"

#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/RecordedNotices.h"

namespace kelvora {
namespace {

using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;

constexpr const char* kNone = "";
constexpr const char* kSettings = "KVDataManagerSettingsDidChangeNotification";
constexpr const char* kFrequency = "KVDataManagerUpdateFrequencyDidChangeNotification";

// A row as the programs of the product know it.
struct Row {
  const char* property;
  const char* key;
  std::optional<PropertyListValue> fresh;  // what a fresh suite gives
  bool writesBack;
  PropertyListValue newValue;
  const char* notice;
  bool userInfo;
};

const PropertyListValue kText("text");

const std::vector<Row>& rows() {
  static const std::vector<Row> all{
      {"mainSensor", "KVMainSensor", std::nullopt, false, "TC0P", kNone, false},
      {"menuSensors", "KVMenuSensors", std::nullopt, false, Array{"TC0P", "TG0P"},
       "KVDataManagerMenuSensorsDidChangeNotification", false},
      {"overheatNotifications", "KVOverheatNotificationsKey", std::nullopt, false,
       PropertyListValue::Data{std::byte{1}}, "KVDataManagerOverheatListDidChangeNotification",
       false},
      {"manualLinkEnabled", "KVFanControllerManualLinkEnabledKey", true, false, false, kSettings,
       false},
      {"autoBoostNotificationEnabled", "KVFanControllerAutoBoostNotificationEnabledKey", false,
       false, true, kNone, false},
      {"fanControlMode", "KVFanControllerModeKey", 0, false, 3, kNone, false},
      {"manualFanSetId", "KVFanControllerManualFanSetIdKey", std::nullopt, false, "quiet", kNone,
       false},
      {"didAutoBoost", "KVFanControllerDidAutoBoostKey", false, false, true, kNone, false},
      {"fileLoggingEnabled", "KVFileLoggingEnabledKey", false, false, true, kNone, false},
      {"fileLoggingPath", "KVFileLoggingPathKey", "/Users/anna/Documents/Kelvora Log.csv", false,
       "/tmp/log.csv", kNone, false},
      {"fileLoggingSensorKeys", "KVFileLoggingSensorsKey", std::nullopt, false, Array{"TC0P"},
       "KVDataManagerFileLoggingSensorKeysDidChangeNotification", false},
      {"fileLoggingResetMode", "KVFileLoggingResetModeKey", 0, false, 2, kNone, false},
      {"openAtLogin", "KVOpenAtLogin", false, true, true, kNone, false},
      {"currentLanguage", "CURRENT_LANGUAGE_KEY", "en", true, "de",
       "KVDataManagerLanguageDidChangeNotification", false},
      {"graphTimeRange", "KVGraphTimeRangeKey", 0, false, 2, kNone, false},
      {"updateFrequency", "KVUpdateFrequencyKey", 0, false, 2, kFrequency, false},
      {"showTempInMenu", "KVShowTempInMenu", true, true, false, kSettings, false},
      {"showIconInMenu", "KVShowIconInMenu", true, true, false, kSettings, false},
      {"dropdownItems", "KVDropdownItemsKey", std::nullopt, false,
       Array{Dictionary{{"fan_control", false}}}, kSettings, false},
      {"tempUnitCelsius", "KVTempUnitCelsius", true, true, false, kSettings, false},
      {"showUnknownSensors", "KVShowUnknownSensorsKey", std::nullopt, false, true, kSettings, true},
      {"showHIDSensors", "KVShowHIDSensorsKey", std::nullopt, false, true, kSettings, true},
      {"showComputedSensors", "KVShowComputedSensorsKey", true, false, false, kSettings, true},
      {"fanValueType", "KVFanValueTypeKey", 0, false, 1, kFrequency, true},
      {"appLaunchCount", "KVAppLaunchCountKey", 0, false, 5, kNone, false}};
  return all;
}

void PrintTo(const Row& row, std::ostream* out) { *out << row.property; }

std::unique_ptr<Platform> anyPlatform() {
  auto platform = testing::recordedPlatform(testing::recordedMachine("Macmini8,1"));
  testing::wrapPort<testing::ForwardingFiles>(platform->ports().files).onDocumentsFolder = [] {
    return std::optional<std::string>("/Users/anna/Documents");
  };
  testing::wrapPort<testing::ForwardingMainBundle>(platform->ports().mainBundle).localizations = {
      {"en"}};
  return platform;
}

class Settings : public ::testing::Test {
 protected:
  testing::ForwardingMainBundle& bundle() {
    return dynamic_cast<testing::ForwardingMainBundle&>(platform_->mainBundle());
  }

  std::unique_ptr<Platform> platform_ = anyPlatform();
  std::unique_ptr<platform::UserDefaultsSuite> suite_ =
      platform_->userDefaults().suite("group.com.kelvora");
  testing::RecordedNotices notices_{*platform_};
  KVSettings settings_{*platform_};
};

class SettingsRow : public Settings, public ::testing::WithParamInterface<Row> {
 protected:
  const Row& row() const { return GetParam(); }
  const KVSetting& setting() const { return *settingOfProperty(row().property); }
};

INSTANTIATE_TEST_SUITE_P(KVSettings, SettingsRow, ::testing::ValuesIn(rows()),
                         [](const auto& each) { return std::string(each.param.property); });

TEST_P(SettingsRow, AFreshSuiteGivesTheDefaultAndHoldsItOnlyWhereItIsWrittenBack) {
  EXPECT_EQ(settings_.value(setting()), row().fresh);
  EXPECT_EQ(suite_->object(row().key), row().writesBack ? row().fresh : std::nullopt);
  EXPECT_EQ(settings_.isStored(setting()), row().writesBack);
  EXPECT_EQ(settings_.value(setting()), row().fresh);
  EXPECT_TRUE(notices_.take().empty());
}

TEST_P(SettingsRow, ASetValueIsStoredWithItsTypeUnderItsKeyAndSeenByEveryProgram) {
  EXPECT_TRUE(settings_.setValue(setting(), row().newValue));
  EXPECT_EQ(suite_->object(row().key), row().newValue);
  KVSettings other(*platform_);
  EXPECT_EQ(other.value(setting()), row().newValue);
}

TEST_P(SettingsRow, AChangeIsAnnouncedOnceUnderItsNameOrNotAtAll) {
  settings_.setValue(setting(), row().newValue);
  const auto heard = notices_.take();
  if (std::string(row().notice).empty()) {
    EXPECT_TRUE(heard.empty());
    return;
  }
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].name, row().notice);
  EXPECT_FALSE(heard[0].object);
  EXPECT_EQ(heard[0].userInfo,
            row().userInfo ? std::optional(Dictionary{{row().key, row().newValue}}) : std::nullopt);
}

TEST_P(SettingsRow, AValueOfAnotherTypeGivesTheDefaultAndStays) {
  const PropertyListValue wrong =
      row().newValue.as<std::string>() != nullptr ? PropertyListValue(Array{}) : kText;
  suite_->setObject(row().key, wrong);
  EXPECT_EQ(settings_.value(setting()), row().fresh);
  EXPECT_FALSE(settings_.isStored(setting()));
  EXPECT_EQ(suite_->object(row().key), wrong);
  EXPECT_THROW(settings_.setValue(setting(), wrong), std::invalid_argument);
}

TEST_P(SettingsRow, AWriteByAnotherProgramIsSeenOnTheNextRead) {
  settings_.value(setting());
  suite_->setObject(row().key, row().newValue);
  EXPECT_EQ(settings_.value(setting()), row().newValue);
}

TEST_P(SettingsRow, SettingNoneRemovesTheKey) {
  settings_.setValue(setting(), row().newValue);
  settings_.setValue(setting(), std::nullopt);
  EXPECT_FALSE(suite_->object(row().key));
  const auto heard = notices_.take();
  EXPECT_EQ(heard.size(), std::string(row().notice).empty() ? 0U : 2U);
}

TEST(KVSetting, TheTableHasEachSettingOnceInOrder) {
  ASSERT_EQ(allSettings().size(), rows().size());
  ASSERT_EQ(rows().size(), kSettingCount);
  std::set<std::string_view> keys;
  for (std::size_t index = 0; index < kSettingCount; ++index) {
    const KVSetting& setting = allSettings()[index];
    EXPECT_EQ(static_cast<std::size_t>(setting.id), index);
    EXPECT_EQ(setting.property, rows()[index].property);
    EXPECT_EQ(setting.key, rows()[index].key);
    keys.insert(setting.key);
    EXPECT_EQ(settingOfProperty(setting.property), &setting);
    EXPECT_EQ(&settingOf(setting.id), &setting);
  }
  EXPECT_EQ(keys.size(), kSettingCount);
  EXPECT_EQ(settingOfProperty("unheardOf"), nullptr);
}

TEST(KVSetting, AllProgramsShareOneSuite) {
  EXPECT_STREQ(kApplicationGroupIdentifier, "group.com.kelvora");
}

TEST_F(Settings, AFreshTemperatureUnitIsCelsiusAndWrittenButTheFreshManualLinkIsNot) {
  EXPECT_TRUE(settings_.tempUnitCelsius());
  EXPECT_EQ(suite_->object("KVTempUnitCelsius"), PropertyListValue(true));
  EXPECT_TRUE(settings_.manualLinkEnabled());
  EXPECT_FALSE(suite_->object("KVFanControllerManualLinkEnabledKey"));
}

TEST_F(Settings, TypedAccessorsReadAndWriteTheirOwnKeys) {
  const auto flips = [&](bool (KVSettings::*get)(), bool (KVSettings::*set)(bool),
                         const char* key) {
    const bool before = (settings_.*get)();
    EXPECT_TRUE((settings_.*set)(!before)) << key;
    EXPECT_EQ((settings_.*get)(), !before) << key;
    EXPECT_EQ(suite_->object(key), PropertyListValue(!before)) << key;
  };
  using S = KVSettings;
  flips(&S::manualLinkEnabled, &S::setManualLinkEnabled, "KVFanControllerManualLinkEnabledKey");
  flips(&S::autoBoostNotificationEnabled, &S::setAutoBoostNotificationEnabled,
        "KVFanControllerAutoBoostNotificationEnabledKey");
  flips(&S::didAutoBoost, &S::setDidAutoBoost, "KVFanControllerDidAutoBoostKey");
  flips(&S::fileLoggingEnabled, &S::setFileLoggingEnabled, "KVFileLoggingEnabledKey");
  flips(&S::showTempInMenu, &S::setShowTempInMenu, "KVShowTempInMenu");
  flips(&S::showIconInMenu, &S::setShowIconInMenu, "KVShowIconInMenu");
  flips(&S::tempUnitCelsius, &S::setTempUnitCelsius, "KVTempUnitCelsius");
  flips(&S::showUnknownSensors, &S::setShowUnknownSensors, "KVShowUnknownSensorsKey");
  flips(&S::showHIDSensors, &S::setShowHIDSensors, "KVShowHIDSensorsKey");
  flips(&S::showComputedSensors, &S::setShowComputedSensors, "KVShowComputedSensorsKey");

  const auto counts = [&](std::int64_t (KVSettings::*get)(), bool (KVSettings::*set)(std::int64_t),
                          const char* key) {
    EXPECT_EQ((settings_.*get)(), 0) << key;
    EXPECT_TRUE((settings_.*set)(2)) << key;
    EXPECT_EQ((settings_.*get)(), 2) << key;
    EXPECT_EQ(suite_->object(key), PropertyListValue(2)) << key;
  };
  counts(&S::fanControlMode, &S::setFanControlMode, "KVFanControllerModeKey");
  counts(&S::fileLoggingResetMode, &S::setFileLoggingResetMode, "KVFileLoggingResetModeKey");
  counts(&S::graphTimeRange, &S::setGraphTimeRange, "KVGraphTimeRangeKey");
  counts(&S::updateFrequency, &S::setUpdateFrequency, "KVUpdateFrequencyKey");
  counts(&S::fanValueType, &S::setFanValueType, "KVFanValueTypeKey");
  counts(&S::appLaunchCount, &S::setAppLaunchCount, "KVAppLaunchCountKey");

  settings_.setManualFanSetId("quiet");
  EXPECT_EQ(settings_.manualFanSetId(), "quiet");
  EXPECT_EQ(suite_->object("KVFanControllerManualFanSetIdKey"), PropertyListValue("quiet"));
  settings_.setFileLoggingPath("/tmp/a.csv");
  EXPECT_EQ(settings_.fileLoggingPath(), "/tmp/a.csv");
  settings_.setFileLoggingSensorKeys({{"TC0P", "TG0P"}});
  EXPECT_EQ(suite_->object("KVFileLoggingSensorsKey"), PropertyListValue(Array{"TC0P", "TG0P"}));
}

TEST_F(Settings, ASensorIsShownAsTheSettingOfItsSourceSays) {
  const auto expectShown = [&](std::uint64_t source, bool isShown, bool isShownUnknown) {
    EXPECT_EQ(settings_.showsSensor(source, false), isShown) << source;
    EXPECT_EQ(settings_.showsSensor(source, true), isShownUnknown) << source;
  };
  expectShown(SensorSourceSMC, true, false);
  expectShown(SensorSourceHID, false, false);
  expectShown(SensorSourceComputed, true, true);
  settings_.setShowUnknownSensors(true);
  settings_.setShowHIDSensors(true);
  settings_.setShowComputedSensors(false);
  expectShown(SensorSourceSMC, true, true);
  expectShown(SensorSourceHID, true, true);
  expectShown(SensorSourceComputed, false, false);
}

TEST_F(Settings, ByDefaultHIDAndUnknownSensorsAreHiddenButComputedOnesShown) {
  EXPECT_FALSE(settings_.showUnknownSensors());
  EXPECT_FALSE(settings_.showHIDSensors());
  EXPECT_TRUE(settings_.showComputedSensors());
  EXPECT_FALSE(suite_->object("KVShowUnknownSensorsKey"));
  EXPECT_FALSE(suite_->object("KVShowHIDSensorsKey"));
  EXPECT_FALSE(suite_->object("KVShowComputedSensorsKey"));
}

TEST_F(Settings, OpenAtLoginIsFalseWrittenBackAndCanBeCleared) {
  EXPECT_FALSE(settings_.openAtLogin());
  EXPECT_EQ(suite_->object("KVOpenAtLogin"), PropertyListValue(false));
  settings_.setOpenAtLogin(true);
  EXPECT_TRUE(settings_.openAtLogin());
  settings_.setOpenAtLogin(std::nullopt);
  EXPECT_FALSE(suite_->object("KVOpenAtLogin"));
  EXPECT_FALSE(settings_.openAtLogin());
}

TEST_F(Settings, NumbersCountAsBooleansAndBooleansAsNumbers) {
  suite_->setObject("KVTempUnitCelsius", 0);
  EXPECT_FALSE(settings_.tempUnitCelsius());
  EXPECT_EQ(settings_.value(settingOf(KVSettingID::kTempUnitCelsius)), PropertyListValue(false));
  suite_->setObject("KVUpdateFrequencyKey", 1.0);
  EXPECT_EQ(settings_.updateFrequency(), 1);
  EXPECT_EQ(settings_.value(settingOf(KVSettingID::kUpdateFrequency)), PropertyListValue(1));
  suite_->setObject("KVFanValueTypeKey", true);
  EXPECT_EQ(settings_.fanValueType(), 1);
}

TEST_F(Settings, AListWithAnotherKindOfElementIsOfAnotherType) {
  suite_->setObject("KVFileLoggingSensorsKey", Array{"TC0P", 5});
  EXPECT_FALSE(settings_.isStored(settingOf(KVSettingID::kFileLoggingSensorKeys)));
  suite_->setObject("KVDropdownItemsKey", Array{Dictionary{{"a", true}, {"b", true}}});
  EXPECT_FALSE(settings_.isStored(settingOf(KVSettingID::kDropdownItems)));
  suite_->setObject("KVDropdownItemsKey", Array{Dictionary{{"a", "yes"}}});
  EXPECT_FALSE(settings_.isStored(settingOf(KVSettingID::kDropdownItems)));
}

TEST_F(Settings, TheUpdateIntervalFollowsTheFrequency) {
  const std::vector<std::pair<int, double>> intervals{{0, 2.0}, {1, 5.0}, {2, 10.0},
                                                      {3, 2.0}, {7, 2.0}, {-1, 2.0}};
  for (const auto& [frequency, seconds] : intervals) {
    settings_.setUpdateFrequency(frequency);
    EXPECT_EQ(settings_.updateInterval(), seconds) << frequency;
  }
}

TEST_F(Settings, AnOlderFanSetNameIsTakenOverOnceAndNeverDeleted) {
  EXPECT_FALSE(settings_.manualFanSetId());
  suite_->setObject("KVFanControllerFanSetNameKey", "old");
  EXPECT_EQ(settings_.manualFanSetId(), "old");
  EXPECT_EQ(suite_->object("KVFanControllerManualFanSetIdKey"), PropertyListValue("old"));
  EXPECT_EQ(suite_->object("KVFanControllerFanSetNameKey"), PropertyListValue("old"));
  suite_->setObject("KVFanControllerFanSetNameKey", "changed later");
  EXPECT_EQ(settings_.manualFanSetId(), "old");
  EXPECT_TRUE(notices_.take().empty());
}

TEST_F(Settings, AnOlderFanSetNameThatIsNotTextIsNotTakenOver) {
  suite_->setObject("KVFanControllerFanSetNameKey", 5);
  EXPECT_FALSE(settings_.value(settingOf(KVSettingID::kManualFanSetId)));
  EXPECT_FALSE(suite_->object("KVFanControllerManualFanSetIdKey"));
}

TEST_F(Settings, WithoutADocumentsFolderThereIsNoLoggingPath) {
  dynamic_cast<testing::ForwardingFiles&>(platform_->files()).onDocumentsFolder = [] {
    return std::optional<std::string>();
  };
  EXPECT_FALSE(settings_.fileLoggingPath());
}

TEST_F(Settings, TheLanguagesHaveAFixedOrder) {
  EXPECT_EQ(settings_.allLanguages(),
            (std::vector<std::string>{"en", "fr", "de", "es", "tr", "vi", "zh-Hans", "zh-Hant"}));
}

TEST_F(Settings, TheFirstPreferredLocalisationIsTheLanguageWhereItIsOneOfTheProducts) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{"pt", "de"}, "en"}, {{"zh-Hant", "en"}, "zh-Hant"}, {{"DE"}, "en"}, {{}, "en"}};
  for (const auto& [preferred, language] : cases) {
    suite_->removeObject("CURRENT_LANGUAGE_KEY");
    bundle().localizations = preferred;
    EXPECT_EQ(settings_.currentLanguage(), language);
    EXPECT_EQ(suite_->object("CURRENT_LANGUAGE_KEY"), PropertyListValue(language));
  }
  EXPECT_TRUE(notices_.take().empty());
}

TEST_F(Settings, AChosenLanguageStaysWhateverTheUserPrefersLater) {
  settings_.setCurrentLanguage("fr");
  bundle().localizations = {{"de"}};
  EXPECT_EQ(settings_.currentLanguage(), "fr");
}

TEST_F(Settings, SettingTheSameLanguageTwiceAnnouncesItOnce) {
  EXPECT_TRUE(settings_.setCurrentLanguage("fr"));
  EXPECT_TRUE(settings_.setCurrentLanguage("fr"));
  EXPECT_EQ(notices_.take().size(), 1U);
  KVSettings another(*platform_);
  EXPECT_EQ(another.currentLanguage(), "fr");
  EXPECT_TRUE(another.setCurrentLanguage("fr"));
  EXPECT_TRUE(notices_.take().empty());
}

TEST_F(Settings, ALanguageThatThisObjectHasNotSeenIsAnnouncedEvenIfItIsStored) {
  suite_->setObject("CURRENT_LANGUAGE_KEY", "fr");
  settings_.setCurrentLanguage("fr");
  EXPECT_EQ(notices_.take().size(), 1U);
}

// The thread sanitizer sees a missing lock; the codes are too long for a string's own buffer.
TEST_F(Settings, TheLanguageIsSetAndReadOnAnyThread) {
  std::vector<std::string> wrong(4);
  std::vector<std::thread> threads;
  threads.reserve(wrong.size());
  for (std::string& seen : wrong) {
    threads.emplace_back([this, &seen, letter = static_cast<char>('a' + threads.size())] {
      for (std::size_t round = 0; round < 500 && seen.empty(); ++round) {
        settings_.setCurrentLanguage(std::string(64 + round % 64, letter));
        const std::string code = settings_.currentLanguage();
        if (code.find_first_not_of(code.front()) != std::string::npos) {
          seen = code;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, std::vector<std::string>(4));
}

TEST_F(Settings, NoticesComeOnTheMainQueueAfterTheSetterHasReturned) {
  std::vector<bool> onMain;
  platform_->notificationCentres().distributed().addObserver(
      kSettings, platform::SuspensionBehavior::kDefault, [&](const platform::Notification&) {
        onMain.push_back(platform_->mainQueue().isMainThread());
      });
  settings_.setTempUnitCelsius(false);
  EXPECT_TRUE(onMain.empty());
  notices_.take();
  EXPECT_EQ(onMain, std::vector<bool>{true});
}

TEST(KVSettings, ThereIsOneForTheProcessOnItsPlatform) {
  Platform& platform = testing::installRecordedPlatform("Macmini8,1");
  EXPECT_EQ(&KVSettings::shared(), &KVSettings::shared());
  KVSettings::shared().setAppLaunchCount(3);
  EXPECT_EQ(KVSettings(platform).appLaunchCount(), 3);
}

}  // namespace
}  // namespace kelvora
