// Several processes on one settings file.
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/PropertyListFile.h"
#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/ChildWork.h"
#include "tests/support/FileCalls.h"
#include "tests/support/HomeOfAnotherAccount.h"
#include "tests/support/LockHolder.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {
namespace {

using testing::ChildWork;
using testing::LockHolder;

constexpr const char* kGroup = "group.com.kelvora";
constexpr int kWrites = 300;

std::string counterOf(int writer) { return "counter " + std::to_string(writer); }

// Two equal numbers in one setting: a reader that finds them different has read half a write.
PropertyListValue pairOf(std::int64_t number) { return PropertyListValue::Array{number, number}; }

// The number of a pair; -1 when its halves differ.
std::int64_t numberIn(const PropertyListValue& pair) {
  const auto& numbers = *pair.as<PropertyListValue::Array>();
  return numbers.at(0) == numbers.at(1) ? numbers[0].integerValue() : -1;
}

// Counts up in a setting of its own.
int countUp(const std::string& folder, int writer) {
  const auto suite = LinuxUserDefaults(folder).suite(kGroup);
  for (int number = 1; number <= kWrites; ++number) {
    if (!suite->setObject(counterOf(writer), pairOf(number))) {
      return 1;
    }
  }
  return 0;
}

// Reads the file itself until a pipe closes: every time it is whole and no counter runs backwards.
int watch(const std::string& folder, int untilClosed) {
  const std::string path = LinuxUserDefaults(folder).suitePath(kGroup);
  std::map<std::string, std::int64_t> last;
  char byte = 0;
  while (read(untilClosed, &byte, 1) != 0) {
    const PropertyListReading reading = readPropertyListFile(path);
    if (!reading.value) {
      return 1;
    }
    const auto* values = reading.value->as<PropertyListValue::Dictionary>();
    for (int writer = 0; writer < 3; ++writer) {
      const std::string key = counterOf(writer);
      const auto found = values->find(key);
      if (found == values->end()) {
        continue;
      }
      const std::int64_t number = numberIn(found->second);
      if (number < last[key]) {
        return 2;
      }
      last[key] = number;
    }
  }
  return 0;
}

// A file system in memory. On a busy disk a single write may take longer than the others wait.
std::filesystem::path memory() {
  const std::filesystem::path folder = "/dev/shm";
  return std::filesystem::is_directory(folder) ? folder : std::filesystem::temp_directory_path();
}

TEST(SettingsFileProcesses, ThreeWritersLoseNothingAndReadersAlwaysSeeAWholeFile) {
  const testing::TemporaryFolder folder(memory());
  LinuxUserDefaults(folder.path("")).suite(kGroup)->setObject("start", true);
  std::array<int, 2> ends = {};
  ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC), 0);
  std::vector<ChildWork> readers;
  std::vector<ChildWork> writers;
  for (int reader = 0; reader < 2; ++reader) {
    readers.emplace_back([&] {
      close(ends[1]);
      return watch(folder.path(""), ends[0]);
    });
  }
  for (int writer = 0; writer < 3; ++writer) {
    writers.emplace_back([&] { return countUp(folder.path(""), writer); });
  }
  for (ChildWork& writer : writers) {
    EXPECT_EQ(writer.wait(), 0);
  }
  close(ends[1]);
  for (ChildWork& reader : readers) {
    EXPECT_EQ(reader.wait(), 0);
  }
  close(ends[0]);
  const auto suite = LinuxUserDefaults(folder.path("")).suite(kGroup);
  for (int writer = 0; writer < 3; ++writer) {
    EXPECT_EQ(suite->object(counterOf(writer)), pairOf(kWrites));
  }
}

TEST(SettingsFileProcesses, AWriterKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
  const testing::TemporaryFolder folder;
  LinuxUserDefaults defaults(folder.path(""));
  const auto suite = defaults.suite(kGroup);
  ASSERT_TRUE(suite->setObject("mine", "kept"));
  const unsigned seed = testing::randomSeed();
  SCOPED_TRACE(testing::seedNote(seed));
  std::mt19937 random(seed);
  std::int64_t last = 0;
  for (int round = 0; round < 100; ++round) {
    std::array<int, 2> started{};
    ASSERT_EQ(pipe2(started.data(), O_CLOEXEC), 0);
    ChildWork writer([&] {
      const auto own = LinuxUserDefaults(folder.path("")).suite(kGroup);
      for (std::int64_t number = last + 1;; ++number) {
        own->setObject("number", pairOf(number));
        close(started[1]);
      }
      return 0;
    });
    close(started[1]);
    char byte = 0;
    ASSERT_EQ(read(started[0], &byte, 1), 0);  // the first number is stored
    close(started[0]);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
    writer.kill();
    ASSERT_EQ(writer.wait(), 128 + SIGKILL);

    const PropertyListReading file = readPropertyListFile(defaults.suitePath(kGroup));
    ASSERT_EQ(file.failure, "") << round;
    ASSERT_EQ(suite->object("mine"), PropertyListValue("kept")) << round;
    const std::int64_t number = numberIn(suite->object("number").value_or(pairOf(0)));
    ASSERT_GT(number, last) << round;
    last = number;
  }
  EXPECT_TRUE(suite->setObject("after", true));
}

// Else a power cut could leave neither the old file nor the new one.
TEST(SettingsFileProcesses, ANewFileIsOnTheDiskBeforeItTakesThePlaceOfTheOld) {
  const testing::TemporaryFolder folder;
  const auto suite = LinuxUserDefaults(folder.path()).suite(kGroup);
  ASSERT_TRUE(suite->setObject("chosen", 1));
  const std::vector<std::string> stored{"fsync", "rename", "fsync"};
  EXPECT_EQ(testing::storingCallsOf([&] { suite->setObject("chosen", 2); }), stored);
  EXPECT_EQ(testing::storingCallsOf([&] { suite->setObjectIfAbsent("default", 1); }), stored);
  EXPECT_TRUE(testing::storingCallsOf([&] { suite->object("chosen"); }).empty());
}

TEST(SettingsFileProcesses, ThreeProgramsSetOneKeyAtOnceAndEachSucceeds) {
  const testing::TemporaryFolder folder(memory());
  std::vector<ChildWork> writers;
  for (int writer = 0; writer < 3; ++writer) {
    writers.emplace_back([&] {
      for (int round = 0; round < 150; ++round) {
        if (!LinuxUserDefaults(folder.path("")).suite(kGroup)->setObject("one key", writer)) {
          return 1;
        }
      }
      return 0;
    });
  }
  for (ChildWork& writer : writers) {
    EXPECT_EQ(writer.wait(), 0);
  }
}

TEST(SettingsFileProcesses, ADefaultNeverReplacesWhatAnotherProgramStoresMeanwhile) {
  constexpr int kRounds = 200;
  const testing::TemporaryFolder folder(memory());
  const auto suite = LinuxUserDefaults(folder.path("")).suite(kGroup);
  ChildWork reader([&] {
    const auto own = LinuxUserDefaults(folder.path("")).suite(kGroup);
    for (int round = 0; round < kRounds; ++round) {
      own->setObjectIfAbsent("setting " + std::to_string(round), "default");
    }
    return 0;
  });
  for (int round = 0; round < kRounds; ++round) {
    EXPECT_TRUE(suite->setObject("setting " + std::to_string(round), "chosen"));
  }
  EXPECT_EQ(reader.wait(), 0);
  for (int round = 0; round < kRounds; ++round) {
    EXPECT_EQ(suite->object("setting " + std::to_string(round)), PropertyListValue("chosen"));
  }
}

TEST(SettingsFileProcesses, ALockThatIsNeverReleasedFailsTheSetterAndStopsNoGetter) {
  const testing::TemporaryFolder folder;
  const std::string file = LinuxUserDefaults(folder.path("")).suitePath(kGroup);
  const auto suite = LinuxUserDefaults(folder.path("")).suite(kGroup);
  ASSERT_TRUE(suite->setObject("a", 1));
  {
    const LockHolder other(file + ".lock", LockHolder::Until::kItsEnd);
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(suite->setObject("a", 2));
    for (int read = 0; read < 1000; ++read) {  // with a wait each they would last for minutes
      EXPECT_FALSE(suite->setObjectIfAbsent("b", true));
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Settings: " + file + ": another program keeps it locked\n");
    EXPECT_EQ(suite->object("a"), PropertyListValue(1));
  }
  EXPECT_EQ(suite->setObjectIfAbsent("b", true), PropertyListValue(true));
}

TEST(SettingsFileProcesses, ALookAtTheFileWaitsForTheLockOfAWriter) {
  const testing::TemporaryFolder folder;
  LinuxUserDefaults defaults(folder.path("config"));
  ASSERT_TRUE(defaults.suite(kGroup)->setObject("a", 1));
  const LockHolder writer(defaults.suitePath(kGroup) + ".lock", LockHolder::Until::kSomebodyWaits);
  EXPECT_EQ(defaults.fileOfSuite(kGroup)->lockFault, "");
}

TEST(SettingsFileProcesses, ALookAtTheFileReportsALockThatIsNeverReleased) {
  const testing::TemporaryFolder folder;
  LinuxUserDefaults defaults(folder.path("config"));
  ASSERT_TRUE(defaults.suite(kGroup)->setObject("a", 1));
  {
    const LockHolder other(defaults.suitePath(kGroup) + ".lock", LockHolder::Until::kItsEnd);
    EXPECT_EQ(defaults.fileOfSuite(kGroup)->lockFault, "another program keeps it locked");
  }
  EXPECT_EQ(defaults.fileOfSuite(kGroup)->lockFault, "");
}

class SettingsOfAnotherAccount : public testing::HomeOfAnotherAccount {
 protected:
  std::unique_ptr<UserDefaultsSuite> suite() const {
    return LinuxUserDefaults(home_.path(".config")).suite(kGroup);
  }
};

TEST_F(SettingsOfAnotherAccount, WhatRootCreatesBelongsToTheAccount) {
  ASSERT_TRUE(suite()->setObject("root's", 1));
  EXPECT_EQ(entriesOfTheAccount(), 4U);  // two folders, the file and its lock
  EXPECT_EQ(asUser([&] {
              const auto own = suite();
              return own->object("root's") == PropertyListValue(1) && own->setObject("own", 2) ? 0
                                                                                               : 1;
            }),
            0);
  EXPECT_EQ(suite()->objects(), (PropertyListValue::Dictionary{{"root's", 1}, {"own", 2}}));
}

TEST_F(SettingsOfAnotherAccount, AFileThatTheAccountMayNotReadStaysAsItIs) {
  ASSERT_TRUE(suite()->setObject("root's", 1));
  const std::string file = LinuxUserDefaults(home_.path(".config")).suitePath(kGroup);
  ASSERT_EQ(chown(file.c_str(), 0, 0), 0);
  EXPECT_EQ(asUser([&] {
              const auto own = suite();
              const bool isUntouched = !own->object("root's") && !own->setObject("own", 2) &&
                                       !own->setObjectIfAbsent("own", 2) && !own->object("own");
              return isUntouched ? 0 : 1;
            }),
            0);
  EXPECT_EQ(suite()->objects(), (PropertyListValue::Dictionary{{"root's", 1}}));
  EXPECT_FALSE(std::filesystem::exists(file + ".unusable-1"));
  EXPECT_FALSE(std::filesystem::exists(file + ".new"));
}

}  // namespace
}  // namespace kelvora::platform
