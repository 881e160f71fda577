// Settings files that are damaged, cannot be read, or are no files.

#include <filesystem>
#include <ostream>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LinuxUserDefaultsTest.h"
#include "tests/support/ResourceLimit.h"

namespace kelvora::platform {
namespace {

namespace fs = std::filesystem;
using Dictionary = PropertyListValue::Dictionary;
using testing::ResourceLimit;

TEST_F(LinuxUserDefaultsTest, SettingsOfAFileThatIsGoneOrDamagedAreGone) {
  const auto reader = open();
  ASSERT_TRUE(reader->setObject("a", 1));
  EXPECT_EQ(reader->object("a"), PropertyListValue(1));
  fs::remove(file());
  EXPECT_FALSE(reader->object("a"));
  ASSERT_TRUE(reader->setObject("b", 2));
  EXPECT_EQ(reader->objects(), (Dictionary{{"b", 2}}));
  ::testing::internal::CaptureStderr();
  folder_.write(kFile, "damaged");
  EXPECT_TRUE(reader->objects().empty());
  EXPECT_NE(::testing::internal::GetCapturedStderr(), "");
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

TEST_F(LinuxUserDefaultsTest, APipeInPlaceOfTheFileIsKeptAsideAndNeverBlocks) {
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(logOfAWrite(), "Settings: " + file() + ": not a file\n");
  EXPECT_TRUE(fs::is_fifo(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AnUnreadableFileIsLeftAloneAndRefusesWrites) {
  fs::create_directories(folder_.path(kGroupFolder));
  ASSERT_EQ(symlink("Settings.plist", file().c_str()), 0);  // leads to itself, for root too
  ::testing::internal::CaptureStderr();
  const auto suite = open();
  EXPECT_FALSE(suite->object("KVMainSensor"));
  EXPECT_FALSE(suite->setObjectIfAbsent("KVMainSensor", "TC0P"));
  EXPECT_FALSE(suite->setObject("KVMainSensor", "TC0P"));
  EXPECT_FALSE(suite->object("KVMainSensor"));
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("Settings: " + file() + ": Too many levels of symbolic links\n"),
            std::string::npos)
      << log;
  EXPECT_TRUE(fs::is_symlink(file()));
  EXPECT_FALSE(fs::exists(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AFileOfThreeGigabytesIsNeitherReadNorReplaced) {
  folder_.write(kFile, "<plist><dict></dict></plist>");
  const std::uintmax_t size = 3ULL << 30;
  fs::resize_file(file(), size);
  ::testing::internal::CaptureStderr();
  const auto suite = open();
  EXPECT_FALSE(suite->object("KVMainSensor"));
  EXPECT_FALSE(suite->setObjectIfAbsent("KVMainSensor", "TC0P"));
  EXPECT_FALSE(suite->setObject("KVMainSensor", "TC0P"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Settings: " + file() + ": larger than 16 MB\nSettings: " + file() +
                ": it cannot be read before it is written: larger than 16 MB\n");
  EXPECT_EQ(fs::file_size(file()), size);
}

TEST_F(LinuxUserDefaultsTest, PollingWhileAnEditorRewritesTheFileMovesNothing) {
  const std::string whole =
      "<plist><dict><key>KVMainSensor</key><string>TC0P</string></dict></plist>";
  const auto suite = open();
  ::testing::internal::CaptureStderr();
  for (int round = 0; round < 100; ++round) {
    folder_.write(kFile, whole.substr(0, whole.size() / 2));
    EXPECT_FALSE(suite->setObjectIfAbsent("KVTempUnitCelsius", true));
    folder_.write(kFile, whole);
    EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
  }
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(folder_.read(kFile), whole);
  for (const auto& entry : fs::directory_iterator(folder_.path(kGroupFolder))) {
    EXPECT_EQ(entry.path().filename(), "Settings.plist");
  }
}

TEST_F(LinuxUserDefaultsTest, NoMoreThanNineDamagedFilesAreKept) {
  ::testing::internal::CaptureStderr();
  for (int round = 1; round <= 12; ++round) {
    folder_.write(kFile, "damaged " + std::to_string(round));
    EXPECT_TRUE(open()->setObject("round", round));
  }
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(folder_.read(std::string(kFile) + ".unusable-1"), "damaged 1");
  EXPECT_EQ(folder_.read(std::string(kFile) + ".unusable-9"), "damaged 12");
  EXPECT_FALSE(fs::exists(file() + ".unusable-10"));
  EXPECT_EQ(open()->object("round"), PropertyListValue(12));
}

TEST_F(LinuxUserDefaultsTest, AFullDiskLeavesADamagedFileInPlace) {
  folder_.write(kFile, "damaged");
  ::testing::internal::CaptureStderr();
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_FALSE(open()->setObject("KVMainSensor", "TC1P"));
  }
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(folder_.read(kFile), "damaged");
  EXPECT_FALSE(fs::exists(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AChosenChangeReplacesADamagedFileAndADefaultLeavesIt) {
  folder_.write(kFile, "damaged");
  ::testing::internal::CaptureStderr();
  const auto suite = open();
  const auto one = [](const auto& held) { return std::optional<PropertyListValue>(held ? 2 : 1); };
  EXPECT_EQ(suite->changeObject("a", one, SuiteWrite::kDefault), std::nullopt);
  EXPECT_EQ(folder_.read(kFile), "damaged");
  EXPECT_EQ(suite->changeObject("a", one, SuiteWrite::kChoice), PropertyListValue(1));
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(open()->objects(), (Dictionary{{"a", 1}}));
  EXPECT_TRUE(fs::exists(file() + ".unusable-1"));
}

TEST_F(LinuxUserDefaultsTest, AChangeThatCannotBeStoredReturnsNone) {
  const auto suite = open();
  ASSERT_TRUE(suite->setObject("a", 1));
  const auto next = [](const auto&) { return std::optional<PropertyListValue>(2); };
  ::testing::internal::CaptureStderr();
  {
    const testing::ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_EQ(suite->changeObject("a", next, SuiteWrite::kChoice), std::nullopt);
  }
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(suite->object("a"), PropertyListValue(1));
}

// Made by its own test only: a parameter is copied at the start of every process of the tests.
struct Unreadable {
  const char* name;
  PropertyListValue (*value)();
  const char* fault;

  friend std::ostream& operator<<(std::ostream& out, const Unreadable& each) {
    return out << each.name;
  }
};

using Value = PropertyListValue;

Value nested(int levels) {
  Value value = 1;
  for (int level = 0; level < levels; ++level) {
    value = Value::Array{value};
  }
  return value;
}

class UnreadableValue : public LinuxUserDefaultsTest,
                        public ::testing::WithParamInterface<Unreadable> {};

INSTANTIATE_TEST_SUITE_P(
    LinuxUserDefaults, UnreadableValue,
    ::testing::Values(Unreadable{"tooLarge",
                                 [] { return Value(Value::Data(std::size_t{16} << 20)); },
                                 "larger than 16 MB"},
                      Unreadable{"manyEqualTexts",
                                 [] { return Value(Value::Array(20'000, std::string(100, 'x'))); },
                                 "unfolds to far more than its bytes"},
                      Unreadable{"tooDeep", [] { return nested(101); }, "nested too deeply"}),
    [](const auto& each) { return each.param.name; });

TEST_P(UnreadableValue, IsNotStoredAndLosesNoOtherSetting) {
  const Value value = GetParam().value();
  const auto suite = open();
  ASSERT_TRUE(suite->setObject("KVMainSensor", "TC0P"));
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(suite->setObject("KVMenuSensors", value));
  EXPECT_EQ(suite->setObjectIfAbsent("KVMenuSensors", value), std::nullopt);
  EXPECT_EQ(
      ::testing::internal::GetCapturedStderr(),
      "Settings: " + file() + ": it would not be readable any more: " + GetParam().fault + "\n");
  EXPECT_EQ(open()->objects(), (Dictionary{{"KVMainSensor", "TC0P"}}));
  EXPECT_TRUE(suite->setObject("KVMenuSensors", PropertyListValue::Array{"TC0P"}));
}

TEST_F(LinuxUserDefaultsTest, TheLargestReadableFileIsWritten) {
  const auto suite = open();
  ASSERT_TRUE(suite->setObject("a", PropertyListValue::Data((std::size_t{16} << 20) - 4096)));
  ASSERT_TRUE(suite->setObject("b", 1));
  EXPECT_EQ(open()->object("b"), PropertyListValue(1));
}

}  // namespace
}  // namespace kelvora::platform
