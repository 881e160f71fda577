#include "KelvoraCore/KVSettingsSnapshot.h"

#include <gtest/gtest.h>

#include "settings/SnapshotSuite.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/RecordedNotices.h"
#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

class Snapshot : public ::testing::Test {
 protected:
  testing::TestMac mac_;
  std::unique_ptr<platform::UserDefaultsSuite> suite_ =
      mac_.platform->userDefaults().suite("group.com.kelvora");
};

TEST_F(Snapshot, ShowsEveryChangeBeforeItAndNoneAfterIt) {
  suite_->setObject("KVTempUnitCelsius", false);
  KVSettingsSnapshot snapshot(mac_.settings);
  suite_->setObject("KVTempUnitCelsius", true);
  suite_->setObject("KVUpdateFrequencyKey", 2);
  EXPECT_FALSE(snapshot.tempUnitCelsius());
  EXPECT_EQ(snapshot.updateFrequency(), 0);
  EXPECT_TRUE(KVSettingsSnapshot(mac_.settings).tempUnitCelsius());
}

TEST_F(Snapshot, StoresNoDefault) {
  KVSettingsSnapshot snapshot(mac_.settings);
  for (const KVSetting& setting : allSettings()) {
    EXPECT_EQ(snapshot.value(setting), snapshot.defaultValue(setting)) << setting.property;
  }
  EXPECT_EQ(snapshot.currentLanguage(), "en");
  EXPECT_TRUE(suite_->objects().empty());
}

TEST_F(Snapshot, KeepsTheDefaultThatItShowedFirst) {
  KVSettingsSnapshot snapshot(mac_.settings);
  EXPECT_EQ(snapshot.currentLanguage(), "en");
  mac_.bundle.localizations = {{"de"}};
  EXPECT_EQ(snapshot.currentLanguage(), "en");
  EXPECT_EQ(KVSettingsSnapshot(mac_.settings).currentLanguage(), "de");
}

TEST_F(Snapshot, KeepsWhatIsSetToItselfAndAnnouncesNothing) {
  testing::RecordedNotices notices(*mac_.platform);
  suite_->setObject("KVMainSensor", "TC0P");
  KVSettingsSnapshot snapshot(mac_.settings);
  EXPECT_TRUE(snapshot.setTempUnitCelsius(false));
  EXPECT_TRUE(snapshot.setValue(settingOf(KVSettingID::kMainSensor), std::nullopt));
  EXPECT_FALSE(snapshot.tempUnitCelsius());
  EXPECT_FALSE(snapshot.isStored(settingOf(KVSettingID::kMainSensor)));
  EXPECT_EQ(suite_->objects(), (PropertyListValue::Dictionary{{"KVMainSensor", "TC0P"}}));
  EXPECT_TRUE(notices.take().empty());
}

TEST_F(Snapshot, ChangesAValueInItself) {
  SnapshotSuite suite({{"a", 1}});
  const auto next = [](const std::optional<PropertyListValue>& held) {
    return std::optional<PropertyListValue>(held ? held->integerValue() + 1 : 0);
  };
  const auto leave = [](const auto&) { return std::optional<PropertyListValue>(); };
  EXPECT_EQ(suite.changeObject("a", next, platform::SuiteWrite::kChoice), PropertyListValue(2));
  EXPECT_EQ(suite.changeObject("b", leave, platform::SuiteWrite::kChoice), std::nullopt);
  EXPECT_EQ(suite.changeObject("b", next, platform::SuiteWrite::kChoice), PropertyListValue(0));
  EXPECT_EQ(suite.changeObject("b", leave, platform::SuiteWrite::kDefault), PropertyListValue(0));
  EXPECT_EQ(suite.objects(), (PropertyListValue::Dictionary{{"a", 2}, {"b", 0}}));
}

TEST_F(Snapshot, CanBeMadeFromASnapshot) {
  KVSettingsSnapshot first(mac_.settings);
  first.setUpdateFrequency(1);
  KVSettingsSnapshot second(static_cast<KVSettings&>(first));
  EXPECT_EQ(second.updateFrequency(), 1);
  second.setUpdateFrequency(2);
  EXPECT_EQ(first.updateFrequency(), 1);
}

TEST(KVSettingsSnapshot, IsOfTheSharedSettingsUnlessOthersAreGiven) {
  testing::installRecordedPlatform("Macmini8,1");
  KVSettings::shared().setUpdateFrequency(2);
  EXPECT_EQ(KVSettingsSnapshot().updateInterval(), 10.0);
}

}  // namespace
}  // namespace kelvora
