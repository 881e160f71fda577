// Several processes on one settings file.
#include <array>
#include <chrono>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "base/PropertyListFile.h"
#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/ChildWork.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {
namespace {

using testing::ChildWork;

constexpr const char* kGroup = "group.com.kelvora";
constexpr int kWrites = 1000;

std::string counterOf(int writer) { return "counter " + std::to_string(writer); }

// Counts up in a setting of its own, with a second one that always follows it.
int countUp(const std::string& folder, int writer) {
  const auto suite = LinuxUserDefaults(folder).suite(kGroup);
  for (int number = 1; number <= kWrites; ++number) {
    suite->setObject(counterOf(writer), number);
    suite->setObject("copy of " + counterOf(writer), number);
    if (!suite->synchronize()) {
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
      const std::int64_t number = found->second.integerValue();
      if (number < last[key] || values->at("copy of " + key).integerValue() != number) {
        return 2;
      }
      last[key] = number;
    }
  }
  return 0;
}

TEST(SettingsFileProcesses, ThreeWritersLoseNothingAndReadersAlwaysSeeAWholeFile) {
  const testing::TemporaryFolder folder;
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
    EXPECT_EQ(suite->object(counterOf(writer)), PropertyListValue(kWrites));
  }
}

TEST(SettingsFileProcesses, AWriterKilledAtAnyMomentLeavesTheOldOrTheNewFile) {
  const testing::TemporaryFolder folder;
  LinuxUserDefaults defaults(folder.path(""));
  const auto suite = defaults.suite(kGroup);
  suite->setObject("mine", "kept");
  ASSERT_TRUE(suite->synchronize());
  const unsigned seed = testing::randomSeed();
  SCOPED_TRACE(testing::seedNote(seed));
  std::mt19937 random(seed);
  std::int64_t last = 0;
  for (int round = 0; round < 100; ++round) {
    ChildWork writer([&] {
      const auto own = LinuxUserDefaults(folder.path("")).suite(kGroup);
      for (std::int64_t number = last + 1;; ++number) {
        own->setObject("number", number);
        own->setObject("same number", number);
        own->synchronize();
      }
      return 0;
    });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
    writer.kill();
    ASSERT_EQ(writer.wait(), 128 + SIGKILL);

    const PropertyListReading file = readPropertyListFile(defaults.suitePath(kGroup));
    ASSERT_EQ(file.failure, "") << round;
    ASSERT_EQ(suite->object("mine"), PropertyListValue("kept")) << round;
    const std::int64_t number = suite->object("number").value_or(0).integerValue();
    ASSERT_EQ(suite->object("same number").value_or(0).integerValue(), number) << round;
    ASSERT_GE(number, last) << round;
    last = number;
  }
  EXPECT_GT(last, 0);
  suite->setObject("after", true);
  EXPECT_TRUE(suite->synchronize());
}

}  // namespace
}  // namespace kelvora::platform
