#include "platforms/linux/settings/LinuxUserDefaults.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "base/PropertyListFile.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {
namespace {

namespace fs = std::filesystem;
using Dictionary = PropertyListValue::Dictionary;

constexpr const char* kGroup = "group.com.kelvora";
constexpr const char* kGroupFolder = "config/group.com.kelvora";
constexpr const char* kFile = "config/group.com.kelvora/Settings.plist";

class LinuxUserDefaultsTest : public ::testing::Test {
 protected:
  std::unique_ptr<UserDefaultsSuite> open() {
    return LinuxUserDefaults(folder_.path("config")).suite(kGroup);
  }

  std::string file() const { return folder_.path(kFile); }

  mode_t modeOf(const std::string& path) const {
    struct stat facts = {};
    return stat(path.c_str(), &facts) == 0 ? facts.st_mode & 07777U : 0;
  }

  // Stores one setting, and answers what was logged meanwhile.
  std::string logOfAWrite() {
    ::testing::internal::CaptureStderr();
    const auto suite = open();
    EXPECT_FALSE(suite->object("KVAppLaunchCountKey"));
    EXPECT_FALSE(suite->object("KVMainSensor"));
    suite->setObject("KVMainSensor", "TC0P");
    EXPECT_TRUE(suite->synchronize());
    EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
    EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC0P"));
    return ::testing::internal::GetCapturedStderr();
  }

  static long linesIn(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
  }

  testing::TemporaryFolder folder_;
};

TEST_F(LinuxUserDefaultsTest, AFreshSuiteIsEmptyAndCreatesNothing) {
  EXPECT_FALSE(open()->object("KVTempUnitCelsius"));
  EXPECT_TRUE(open()->synchronize());
  EXPECT_FALSE(fs::exists(folder_.path("config")));
}

TEST_F(LinuxUserDefaultsTest, AWriteIsSeenAtOnceByItsSuiteAndAfterTheFlushByOthers) {
  const auto writer = open();
  const auto reader = open();
  writer->setObject("KVUpdateFrequencyKey", 2);
  EXPECT_EQ(writer->object("KVUpdateFrequencyKey"), PropertyListValue(2));
  EXPECT_FALSE(reader->object("KVUpdateFrequencyKey"));
  ASSERT_TRUE(writer->synchronize());
  EXPECT_EQ(reader->object("KVUpdateFrequencyKey"), PropertyListValue(2));
}

TEST_F(LinuxUserDefaultsTest, ARemovedSettingIsGoneForEveryReader) {
  const auto suite = open();
  suite->setObject("KVMainSensor", "TC0P");
  suite->setObject("KVOpenAtLogin", true);
  ASSERT_TRUE(suite->synchronize());
  suite->removeObject("KVMainSensor");
  EXPECT_FALSE(suite->object("KVMainSensor"));
  ASSERT_TRUE(suite->synchronize());
  EXPECT_FALSE(open()->object("KVMainSensor"));
  EXPECT_EQ(open()->object("KVOpenAtLogin"), PropertyListValue(true));
}

TEST_F(LinuxUserDefaultsTest, AWriteChangesOnlyItsOwnSettings) {
  const auto first = open();
  const auto second = open();
  first->setObject("a", 1);
  ASSERT_TRUE(first->synchronize());
  EXPECT_EQ(second->object("a"), PropertyListValue(1));
  first->setObject("b", 2);
  second->setObject("c", 3);
  ASSERT_TRUE(first->synchronize());
  ASSERT_TRUE(second->synchronize());
  for (const auto* suite : {&first, &second}) {
    EXPECT_EQ((*suite)->object("a"), PropertyListValue(1));
    EXPECT_EQ((*suite)->object("b"), PropertyListValue(2));
    EXPECT_EQ((*suite)->object("c"), PropertyListValue(3));
  }
}

TEST_F(LinuxUserDefaultsTest, WhatWasNotFlushedIsWrittenWhenTheSuiteEnds) {
  open()->setObject("KVMainSensor", "TC0P");
  EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC0P"));
}

TEST_F(LinuxUserDefaultsTest, AReplacementOfTheSameSizeAtTheSameInstantIsNoticed) {
  const auto writer = open();
  const auto reader = open();
  struct stat first = {};
  for (int round = 0; round < 200; ++round) {
    writer->setObject("digit", round % 10);
    ASSERT_TRUE(writer->synchronize());
    ASSERT_EQ(reader->object("digit"), PropertyListValue(round % 10)) << round;
    stat(file().c_str(), &first);
  }
}

TEST_F(LinuxUserDefaultsTest, TheFileIsTheUsersAloneAndSoAreItsFolders) {
  open()->setObject("KVMainSensor", "TC0P");
  EXPECT_EQ(modeOf(file()), 0600U);
  EXPECT_EQ(modeOf(folder_.path(kGroupFolder)), 0700U);
  chmod(file().c_str(), 0644);
  open()->setObject("KVMainSensor", "TC1P");
  EXPECT_EQ(modeOf(file()), 0600U);
}

TEST_F(LinuxUserDefaultsTest, ASecondWriterLeavesNothingBesideTheFileAndItsLock) {
  open()->setObject("a", 1);
  open()->setObject("b", 2);
  std::size_t entries = 0;
  for (const auto& entry : fs::directory_iterator(folder_.path(kGroupFolder))) {
    EXPECT_TRUE(entry.path().filename() == "Settings.plist" ||
                entry.path().filename() == "Settings.plist.lock");
    ++entries;
  }
  EXPECT_EQ(entries, 2U);
}

TEST_F(LinuxUserDefaultsTest, AnXMLFileWrittenByAnotherToolIsRead) {
  folder_.write(kFile,
                "<plist version=\"1.0\"><dict><key>KVUpdateFrequencyKey</key><integer>1</integer>"
                "</dict></plist>");
  EXPECT_EQ(open()->object("KVUpdateFrequencyKey"), PropertyListValue(1));
}

class UnusableFile : public LinuxUserDefaultsTest,
                     public ::testing::WithParamInterface<std::pair<const char*, std::string>> {};

INSTANTIATE_TEST_SUITE_P(
    LinuxUserDefaults, UnusableFile,
    ::testing::Values(std::pair{"empty", std::string()},
                      std::pair{"truncated", std::string("bplist00\xd1\x01")},
                      std::pair{"random", std::string("\x93\xfe\x01\x00\x7f\x22gh", 8)},
                      std::pair{"truncatedXML", std::string("<plist><dict><key>KVMain")},
                      std::pair{"array", std::string("<plist><array><true/></array></plist>")},
                      std::pair{"text", std::string("KVMainSensor = TC0P\n")}),
    [](const auto& each) { return each.param.first; });

TEST_P(UnusableFile, GivesDefaultsIsLoggedOnceAndKeptAsideByTheFirstWrite) {
  folder_.write(kFile, GetParam().second);
  const std::string log = logOfAWrite();
  EXPECT_EQ(linesIn(log), 1) << log;
  EXPECT_NE(log.find("Settings: " + file() + ": "), std::string::npos) << log;
  EXPECT_EQ(folder_.read(std::string(kFile) + ".unusable-1"), GetParam().second);
}

TEST_P(UnusableFile, IsNotTouchedByReading) {
  folder_.write(kFile, GetParam().second);
  EXPECT_FALSE(open()->object("KVMainSensor"));
  EXPECT_EQ(folder_.read(kFile), GetParam().second);
  EXPECT_FALSE(fs::exists(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, ASecondUnusableFileIsKeptBesideTheFirst) {
  folder_.write(kFile, "one");
  logOfAWrite();
  folder_.write(kFile, "two");
  logOfAWrite();
  EXPECT_EQ(folder_.read(std::string(kFile) + ".unusable-1"), "one");
  EXPECT_EQ(folder_.read(std::string(kFile) + ".unusable-2"), "two");
}

TEST_F(LinuxUserDefaultsTest, AFolderInPlaceOfTheFileIsKeptAside) {
  folder_.write(std::string(kFile) + "/note.txt", "mine");
  EXPECT_EQ(logOfAWrite(), "Settings: " + file() + ": not a file\n");
  EXPECT_EQ(folder_.read(std::string(kFile) + ".unusable-1/note.txt"), "mine");
}

TEST_F(LinuxUserDefaultsTest, APipeInPlaceOfTheFileIsKeptAsideAndBlocksNobody) {
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(logOfAWrite(), "Settings: " + file() + ": not a file\n");
  EXPECT_TRUE(fs::is_fifo(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AFileThatMayNotBeOpenedIsKeptAside) {
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(symlink("Settings.plist", file().c_str()), 0);  // leads to itself, for root too
  EXPECT_EQ(logOfAWrite(), "Settings: " + file() + ": Too many levels of symbolic links\n");
  EXPECT_TRUE(fs::is_symlink(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, ALackOfDescriptorsNeverCostsTheSettings) {
  open()->setObject("KVMainSensor", "TC0P");
  const auto suite = open();
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{3, before.rlim_max};
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  suite->setObject("KVOpenAtLogin", true);
  EXPECT_FALSE(suite->synchronize());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(suite->synchronize());
  EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC0P"));
  EXPECT_EQ(open()->object("KVOpenAtLogin"), PropertyListValue(true));
  EXPECT_FALSE(fs::exists(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AFullDiskLeavesTheOldFileAndTheNewValueWaits) {
  open()->setObject("KVMainSensor", "TC0P");
  const auto suite = open();
  signal(SIGXFSZ, SIG_IGN);
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit none{10, before.rlim_max};
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
  suite->setObject("KVMainSensor", "TC1P");
  const bool written = suite->synchronize();
  const bool again = suite->synchronize();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  ::testing::internal::GetCapturedStderr();
  EXPECT_FALSE(written);
  EXPECT_FALSE(again);
  EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC0P"));
  EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC1P"));
  EXPECT_TRUE(suite->synchronize());
  EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC1P"));
}

TEST_F(LinuxUserDefaultsTest, AFolderThatCannotBeCreatedFailsAndIsLoggedOnce) {
  folder_.write("file", "");
  const auto suite = LinuxUserDefaults(folder_.path("file")).suite(kGroup);
  ::testing::internal::CaptureStderr();
  suite->setObject("a", 1);
  EXPECT_FALSE(suite->synchronize());
  EXPECT_FALSE(suite->synchronize());
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(linesIn(log), 1) << log;
  EXPECT_NE(log.find("its folder cannot be created: Not a directory"), std::string::npos) << log;
  EXPECT_EQ(suite->object("a"), PropertyListValue(1));
}

TEST_F(LinuxUserDefaultsTest, GlobalSettingsComeFromTheirOwnFileAndFollowIt) {
  LinuxUserDefaults defaults(folder_.path("config"));
  EXPECT_FALSE(defaults.globalObject("AppleInterfaceStyle"));
  folder_.write("config/.GlobalPreferences.plist",
                "<plist><dict><key>AppleInterfaceStyle</key><string>Dark</string></dict></plist>");
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), PropertyListValue("Dark"));
  EXPECT_FALSE(defaults.globalObject("AppleLocale"));
}

TEST_F(LinuxUserDefaultsTest, TheDesktopsDarkColoursCountWhereNothingIsSet) {
  const auto scheme = std::make_shared<DesktopColourScheme>();
  LinuxUserDefaults defaults(folder_.path("config"), scheme);
  EXPECT_FALSE(defaults.globalObject("AppleInterfaceStyle"));
  scheme->exchange(DesktopColourScheme::kDark);
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), PropertyListValue("Dark"));
  scheme->exchange(DesktopColourScheme::kLight);
  EXPECT_FALSE(defaults.globalObject("AppleInterfaceStyle"));
}

TEST(LinuxUserDefaultsFolder, FollowsTheEnvironment) {
  setenv("XDG_CONFIG_HOME", "/tmp/configuration", 1);
  EXPECT_EQ(LinuxUserDefaults::configurationFolder(), "/tmp/configuration");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  setenv("HOME", "/home/anna", 1);
  EXPECT_EQ(LinuxUserDefaults::configurationFolder(), "/home/anna/.config");
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(LinuxUserDefaults::configurationFolder(), "/home/anna/.config");
}

}  // namespace
}  // namespace kelvora::platform
