#include "platforms/linux/settings/LinuxUserDefaults.h"

#include <bit>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "LinuxUserDefaultsTest.h"
#include "base/PropertyListFile.h"
#include "tests/support/ResourceLimit.h"

namespace kelvora::platform {
namespace {

namespace fs = std::filesystem;
using Dictionary = PropertyListValue::Dictionary;
using testing::ResourceLimit;

// Whether a change of the file from now on gets another change time.
bool isSettled(const std::string& path) {
  struct stat facts = {};
  timespec now = {};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return stat(path.c_str(), &facts) == 0 && std::pair(facts.st_ctim.tv_sec, facts.st_ctim.tv_nsec) <
                                                std::pair(now.tv_sec, now.tv_nsec);
}

std::string bigEndianText(std::uint64_t number) {
  std::string text;
  for (int shift = 56; shift >= 0; shift -= 8) {
    text += static_cast<char>(number >> static_cast<unsigned>(shift));
  }
  return text;
}

TEST_F(LinuxUserDefaultsTest, AWriteLeavesForeignValuesThatNoSettingHas) {
  folder_.write(kFile,
                "<plist><dict><key>most</key><integer>18446744073709551615</integer>"
                "<key>then</key><date>1800-01-01T00:00:00Z</date>"
                "<key>list</key><array><integer>9223372036854775808</integer></array></dict>"
                "</plist>");
  using namespace std::chrono;
  const auto since = sys_days(year{1800} / 1 / 1) - sys_days(year{2001} / 1 / 1);
  const auto then = static_cast<double>(duration_cast<seconds>(since).count());
  const auto suite = open();
  for (int round = 0; round < 2; ++round) {
    ASSERT_TRUE(suite->setObject("KVAppLaunchCountKey", round));
    ASSERT_TRUE(suite->removeObject("gone"));
    const std::string file = folder_.read(kFile);
    EXPECT_NE(file.find("\x14" + bigEndianText(0) + bigEndianText(~std::uint64_t{0})),
              std::string::npos);
    EXPECT_NE(file.find("\x14" + bigEndianText(0) + bigEndianText(std::uint64_t{1} << 63U)),
              std::string::npos);
    EXPECT_NE(file.find("\x33" + bigEndianText(std::bit_cast<std::uint64_t>(then))),
              std::string::npos);
  }
}

TEST_F(LinuxUserDefaultsTest, AKeyThatAForeignFileHoldsTwiceIsWrittenAndRemoved) {
  const auto suite = open();
  const auto writeTwice = [&] {
    ASSERT_TRUE(suite->setObject("ka", 1));
    ASSERT_TRUE(suite->setObject("kb", 2));
    std::string file = folder_.read(kFile);
    file.replace(file.find("kb"), 2, "ka");
    folder_.write(kFile, file);
    ASSERT_EQ(suite->objects().size(), 1U);
  };
  writeTwice();
  ASSERT_TRUE(suite->setObject("ka", 3));
  EXPECT_EQ(open()->objects(), (Dictionary{{"ka", 3}}));
  writeTwice();
  ASSERT_TRUE(suite->removeObject("ka"));
  EXPECT_TRUE(open()->objects().empty());
}

TEST_F(LinuxUserDefaultsTest, ARewriteInPlaceOfTheSameSizeIsNoticed) {
  const auto reader = open();
  folder_.write(kFile, "<plist><dict><key>digit</key><integer>0</integer></dict></plist>");
  const std::streamoff place = folder_.read(kFile).find('0');
  std::fstream editor(file(), std::ios::in | std::ios::out | std::ios::binary);
  for (int round = 0; round < 2000; ++round) {
    editor.seekp(place);
    editor << round % 10 << std::flush;
    ASSERT_EQ(reader->object("digit"), PropertyListValue(round % 10)) << round;
  }
}

TEST_F(LinuxUserDefaultsTest, ARewriteThatRestoresTheModificationTimeIsNoticed) {
  const auto reader = open();
  folder_.write(kFile, "<plist><dict><key>digit</key><integer>0</integer></dict></plist>");
  const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file().c_str(), times, 0), 0);
  while (!isSettled(file())) {
  }
  ASSERT_EQ(reader->object("digit"), PropertyListValue(0));
  folder_.write(kFile, "<plist><dict><key>digit</key><integer>1</integer></dict></plist>");
  ASSERT_EQ(utimensat(AT_FDCWD, file().c_str(), times, 0), 0);
  EXPECT_EQ(reader->object("digit"), PropertyListValue(1));
}

TEST_F(LinuxUserDefaultsTest, AReplacementOfTheSameSizeAtTheSameInstantIsNoticed) {
  const auto writer = open();
  const auto reader = open();
  struct stat first = {};
  for (int round = 0; round < 200; ++round) {
    ASSERT_TRUE(writer->setObject("digit", round % 10));
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

TEST_F(LinuxUserDefaultsTest, WhatAKilledWriterLeftBlocksNoProgram) {
  folder_.write(std::string(kFile) + ".new", "half a fi");
  EXPECT_TRUE(open()->setObject("KVMainSensor", "TC0P"));
  EXPECT_EQ(open()->object("KVMainSensor"), PropertyListValue("TC0P"));
  EXPECT_FALSE(fs::exists(file() + ".new"));
}

TEST_F(LinuxUserDefaultsTest, AnXMLFileWrittenByAnotherToolIsRead) {
  folder_.write(kFile,
                "<plist version=\"1.0\"><dict><key>KVUpdateFrequencyKey</key><integer>1</integer>"
                "</dict></plist>");
  EXPECT_EQ(open()->object("KVUpdateFrequencyKey"), PropertyListValue(1));
}

TEST_F(LinuxUserDefaultsTest, ALinkIsFollowedAndItsTargetReplaced) {
  folder_.write("dotfiles/settings",
                "<plist><dict><key>a</key><integer>1</integer></dict></plist>");
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(symlink("../../dotfiles/settings", file().c_str()), 0);
  ASSERT_TRUE(open()->setObject("b", 2));
  EXPECT_TRUE(fs::is_symlink(file()));
  EXPECT_EQ(open()->objects(), (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(readPropertyListFile(folder_.path("dotfiles/settings")).value,
            PropertyListValue(Dictionary{{"a", 1}, {"b", 2}}));
}

TEST_F(LinuxUserDefaultsTest, LinksAreFollowedAsFarAsTheSystemFollowsThem) {
  constexpr int kMostLinks = 40;
  std::string end = folder_.write("settings", "<plist><dict/></plist>");
  for (int link = 1; link < kMostLinks; ++link) {
    const std::string next = folder_.path("link" + std::to_string(link));
    fs::create_symlink(end, next);
    end = next;
  }
  fs::create_directories(folder_.path(kGroupFolder));
  fs::create_symlink(end, file());
  ASSERT_TRUE(open()->setObject("a", 1));
  EXPECT_TRUE(fs::is_symlink(folder_.path("link1")));
  EXPECT_EQ(readPropertyListFile(folder_.path("settings")).value,
            PropertyListValue(Dictionary{{"a", 1}}));
}

TEST_F(LinuxUserDefaultsTest, ALinkToAMissingFileCreatesIt) {
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(symlink(folder_.path("dotfiles/settings").c_str(), file().c_str()), 0);
  EXPECT_FALSE(open()->object("a"));
  ASSERT_TRUE(open()->setObject("a", 1));
  EXPECT_TRUE(fs::is_symlink(file()));
  EXPECT_TRUE(fs::is_regular_file(folder_.path("dotfiles/settings")));
}

TEST_F(LinuxUserDefaultsTest, ALockThatIsALinkIsNotOpened) {
  const std::string victim = folder_.path("victim");
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(symlink(victim.c_str(), (file() + ".lock").c_str()), 0);
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(open()->setObject("a", 1));
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("it cannot be locked: Too many levels"),
            std::string::npos);
  EXPECT_FALSE(fs::exists(victim));
  EXPECT_FALSE(fs::exists(file()));
}

TEST_F(LinuxUserDefaultsTest, ALackOfDescriptorsKeepsWhatWasReadAndStoresNothing) {
  ASSERT_TRUE(open()->setObject("KVMainSensor", "TC0P"));
  const auto suite = open();
  ASSERT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
  ASSERT_TRUE(open()->setObject("KVMainSensor", "TC1P"));
  ::testing::internal::CaptureStderr();
  {
    const ResourceLimit descriptors(RLIMIT_NOFILE, 3);
    EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
    EXPECT_FALSE(suite->setObject("KVOpenAtLogin", true));
    EXPECT_FALSE(suite->setObjectIfAbsent("KVTempUnitCelsius", true));
  }
  ::testing::internal::GetCapturedStderr();
  ASSERT_TRUE(open()->setObject("KVOpenAtLogin", false));
  ASSERT_TRUE(suite->setObject("unrelated", 1));
  EXPECT_EQ(open()->objects(),
            (Dictionary{{"KVMainSensor", "TC1P"}, {"KVOpenAtLogin", false}, {"unrelated", 1}}));
  EXPECT_FALSE(fs::exists(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AFullDiskLeavesTheOldFileAndNothingForLater) {
  ASSERT_TRUE(open()->setObject("KVMainSensor", "TC0P"));
  const auto suite = open();
  ::testing::internal::CaptureStderr();
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_FALSE(suite->setObject("KVMainSensor", "TC1P"));
    EXPECT_FALSE(suite->setObject("KVMainSensor", "TC1P"));
    EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
  }
  ::testing::internal::GetCapturedStderr();
  EXPECT_FALSE(fs::exists(file() + ".new"));
  ASSERT_TRUE(open()->setObject("KVMainSensor", "TC2P"));
  EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC2P"));
  ASSERT_TRUE(suite->setObject("unrelated", 1));
  EXPECT_EQ(open()->objects(), (Dictionary{{"KVMainSensor", "TC2P"}, {"unrelated", 1}}));
}

TEST_F(LinuxUserDefaultsTest, AFolderThatCannotBeCreatedFailsAndIsLoggedOnce) {
  folder_.write("file", "");
  const auto suite = LinuxUserDefaults(folder_.path("file")).suite(kGroup);
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(suite->setObject("a", 1));
  EXPECT_FALSE(suite->setObject("a", 1));
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(linesIn(log), 1) << log;
  EXPECT_NE(log.find("its folder cannot be created: Not a directory"), std::string::npos) << log;
  EXPECT_FALSE(suite->object("a"));
}

TEST_F(LinuxUserDefaultsTest, LookingAtTheFileOfASuiteReportsItsStateAndLogsNothing) {
  ::testing::internal::CaptureStderr();
  LinuxUserDefaults defaults(folder_.path("config"));
  const auto look = [&] { return *defaults.fileOfSuite(kGroup); };
  EXPECT_EQ(look().path, file());
  EXPECT_FALSE(look().exists);
  EXPECT_EQ(look().fault + look().lockFault, "");
  EXPECT_FALSE(fs::exists(folder_.path("config")));
  ASSERT_TRUE(open()->setObject("a", 1));
  EXPECT_TRUE(look().exists);
  EXPECT_EQ(look().values, (Dictionary{{"a", 1}}));
  EXPECT_EQ(look().fault + look().lockFault, "");
  folder_.write(kFile, "no list");
  EXPECT_EQ(look().fault, "not a property list");
  EXPECT_TRUE(look().values.empty());
  fs::remove(file());
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_TRUE(look().exists);
  EXPECT_EQ(look().fault, "not a file");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(LinuxUserDefaultsTest, TheLockOfASuiteIsTriedButNotCreated) {
  LinuxUserDefaults defaults(folder_.path("config"));
  const auto fault = [&] { return defaults.fileOfSuite(kGroup)->lockFault; };
  folder_.write(kFile, "<plist><dict/></plist>");
  EXPECT_EQ(fault(), "");
  EXPECT_FALSE(fs::exists(file() + ".lock"));
  fs::create_symlink(folder_.path("elsewhere"), file() + ".lock");
  EXPECT_EQ(fault(), "the lock beside it: not a file");
  EXPECT_FALSE(fs::exists(folder_.path("elsewhere")));
}

TEST_F(LinuxUserDefaultsTest, TheLockOfALinkedSuiteIsBesideItsTarget) {
  const std::string target = folder_.write("elsewhere/Settings.plist", "<plist><dict/></plist>");
  fs::create_directories(folder_.path(kGroupFolder));
  fs::create_symlink(target, file());
  fs::create_directory(target + ".lock");
  EXPECT_EQ(LinuxUserDefaults(folder_.path("config")).fileOfSuite(kGroup)->lockFault,
            "the lock beside it: not a file");
}

TEST_F(LinuxUserDefaultsTest, AFolderInPlaceOfTheNewFileOfALinkedSuiteIsAnObstacle) {
  LinuxUserDefaults defaults(folder_.path("config"));
  const auto look = [&] { return *defaults.fileOfSuite(kGroup); };
  EXPECT_EQ(look().target, file());
  const std::string target = folder_.write("elsewhere/Settings.plist", "<plist><dict/></plist>");
  fs::create_directories(folder_.path(kGroupFolder));
  fs::create_symlink(target, file());
  folder_.write("elsewhere/Settings.plist.new", "left by a killed writer");
  EXPECT_EQ(look().target, target);
  EXPECT_EQ(look().obstacle, "");
  fs::remove(target + ".new");
  fs::create_directory(target + ".new");
  EXPECT_EQ(look().obstacle, target + ".new");
  EXPECT_FALSE(open()->setObject("a", 1));
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
  scheme->changed(DesktopColourScheme::kDark);
  EXPECT_EQ(defaults.globalObject("AppleInterfaceStyle"), PropertyListValue("Dark"));
  scheme->changed(DesktopColourScheme::kLight);
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
