#include "KelvoraCore/KVSettingsFile.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVSettings.h"

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

constexpr const char* kFile = "group.com.kelvora/Settings.plist";
constexpr const char* kLock = "group.com.kelvora/Settings.plist.lock";

class SettingsFileCheck : public ::testing::Test {
 protected:
  SettingsFileCheck() {
    platform_->ports().userDefaults = std::make_unique<platform::LinuxUserDefaults>(folder_.path());
  }
  KVSettingsFile file() { return settingsFile(*platform_).value(); }

  testing::TemporaryFolder folder_;
  std::unique_ptr<Platform> platform_ =
      testing::recordedPlatform(testing::recordedMachine("Macmini8,1"));
};

TEST_F(SettingsFileCheck, BeforeAnySettingIsStoredThereIsNoFileAndNoFault) {
  const KVSettingsFile found = file();
  EXPECT_EQ(found.path, folder_.path(kFile));
  EXPECT_FALSE(found.exists);
  EXPECT_EQ(found.fault, "");
  EXPECT_EQ(found.lockFault, "");
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(SettingsFileCheck, SettingsThatCanBeReadAndWrittenHaveNoFault) {
  ASSERT_TRUE(KVSettings(*platform_).setTempUnitCelsius(false));
  const KVSettingsFile found = file();
  EXPECT_TRUE(found.exists);
  EXPECT_EQ(found.fault, "");
  EXPECT_EQ(found.lockFault, "");
  EXPECT_TRUE(found.mistyped.empty());
}

TEST_F(SettingsFileCheck, SettingsOfAnotherTypeAreListedInTheOrderOfTheTable) {
  const auto suite = platform_->userDefaults().suite("group.com.kelvora");
  suite->setObject("KVUpdateFrequencyKey", "often");
  suite->setObject("KVTempUnitCelsius", "yes");
  suite->setObject("KVMainSensor", "TC0P");
  suite->setObject("KVMenuSensors", "TC0P");
  suite->setObject("OfAnotherProgram", "any");
  EXPECT_EQ(file().mistyped,
            (std::vector<std::string>{"menuSensors", "updateFrequency", "tempUnitCelsius"}));
  EXPECT_EQ(file().fault, "");
}

TEST_F(SettingsFileCheck, AFileThatHoldsNoSettingsSaysWhy) {
  folder_.write(kFile, "damaged");
  EXPECT_EQ(file().fault, "not a property list");
  folder_.write(kFile, "<plist version=\"1.0\"><array/></plist>");
  EXPECT_EQ(file().fault, "not a dictionary");
  EXPECT_TRUE(file().mistyped.empty());
}

TEST_F(SettingsFileCheck, AFolderInPlaceOfTheFileIsAFault) {
  std::filesystem::create_directories(folder_.path(kFile));
  EXPECT_TRUE(file().exists);
  EXPECT_EQ(file().fault, "not a file");
}

TEST_F(SettingsFileCheck, ALockThatIsALinkOrAFolderIsAFault) {
  const std::string target = folder_.write("target", "");
  std::filesystem::create_directories(folder_.path("group.com.kelvora"));
  std::filesystem::create_symlink(target, folder_.path(kLock));
  EXPECT_EQ(file().lockFault, "the lock beside it: not a file");
  std::filesystem::remove(folder_.path(kLock));
  std::filesystem::create_directory(folder_.path(kLock));
  EXPECT_EQ(file().lockFault, "the lock beside it: not a file");
}

TEST_F(SettingsFileCheck, ALockThatCannotBeOpenedNamesTheSystemsReason) {
  folder_.write(kLock, "");
  EXPECT_EQ(file().lockFault, "");
  const testing::ResourceLimit descriptors(RLIMIT_NOFILE, 3);
  EXPECT_EQ(file().lockFault, "the lock beside it: Too many open files");
}

TEST_F(SettingsFileCheck, TheLockIsTheOneBesideTheFileThatALinkPointsTo) {
  const std::string target = folder_.write("elsewhere/Settings.plist", "");
  std::filesystem::create_directories(folder_.path("group.com.kelvora"));
  std::filesystem::create_symlink(target, folder_.path(kFile));
  std::filesystem::create_directory(target + ".lock");
  EXPECT_EQ(file().lockFault, "the lock beside it: not a file");
}

TEST_F(SettingsFileCheck, ATrialStoresASettingAndRemovesIt) {
  EXPECT_TRUE(canStoreSettings(*platform_));
  EXPECT_TRUE(file().exists);
  EXPECT_TRUE(platform_->ports().userDefaults->suite("group.com.kelvora")->objects().empty());
}

TEST_F(SettingsFileCheck, ATrialFailsWhereNothingCanBeStored) {
  folder_.write("group.com.kelvora", "a file where the folder should be");
  EXPECT_FALSE(canStoreSettings(*platform_));
}

TEST(KVSettingsFile, ReturnsNoneWhereTheSystemStoresSettingsItself) {
  const auto platform = testing::recordedPlatform(testing::recordedMachine("Macmini8,1"));
  EXPECT_FALSE(settingsFile(*platform));
}

}  // namespace
}  // namespace kelvora
