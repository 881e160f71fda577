// A refresh of labels and values: what it costs in calls, and that it is never stale.
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVValueConverter.h"

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/FileCalls.h"
#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

constexpr int kMostFileCalls = 10;
constexpr std::size_t kSensors = 164;

struct Shown {
  std::string label;
  std::string value;
};

// Settings in a file and tables among the resources, as a program on this system has them.
class Refresh : public ::testing::Test {
 protected:
  Refresh() {
    mac_.addStrings("en", "\"Temp-%@\" = \"%@ Temperature\";");
    mac_.addStrings("de", "\"Temp-%@\" = \"Temperatur %@\";");
    mac_.platform->ports().userDefaults =
        std::make_unique<platform::LinuxUserDefaults>(folder_.path());
  }

  // What a host does for each refresh.
  static std::vector<Shown> show(std::size_t sensors, KVSettings& live, Platform& platform) {
    KVSettingsSnapshot settings(live);
    const KVLocalized::Texts texts(settings, platform);
    std::vector<Shown> shown;
    for (std::size_t sensor = 0; sensor < sensors; ++sensor) {
      shown.push_back({texts.localizedStringForKey("Temp-%@").value_or(""),
                       KVValueConverter::fullStringFromValue(
                           KVValueConverter::convertedTemp(45.5, settings), 0, false, settings)});
    }
    return shown;
  }

  // Until files that were written before have times of an earlier tick; a few milliseconds. A
  // kernel may give a file the exact time, which the coarse clock reaches with its next ticks.
  static void waitForTheNextTick() {
    timespec start = {};
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &start);
    do {
      clock_gettime(CLOCK_REALTIME_COARSE, &now);
    } while (std::pair(now.tv_sec, now.tv_nsec) <= std::pair(start.tv_sec, start.tv_nsec));
  }

  // File-system calls of a refresh that is not the process's first, and of one that is.
  int callsOfARefresh(std::size_t sensors) {
    KVSettings live(*mac_.platform);
    // A file that was written in the current tick of the clock is read again.
    return testing::fileCallsOf(
        [&] {
          waitForTheNextTick();
          show(1, live, *mac_.platform);
        },
        [&] { show(sensors, live, *mac_.platform); });
  }
  int callsOfAFirstRefresh(std::size_t sensors) {
    KVSettings live(*mac_.platform);
    return testing::fileCallsOf([] { waitForTheNextTick(); },
                                [&] { show(sensors, live, *mac_.platform); });
  }

  testing::TemporaryFolder folder_;
  testing::TestMac mac_;
};

TEST_F(Refresh, MakesAFewFileCallsHoweverManySensors) {
  KVSettings(*mac_.platform).setCurrentLanguage("de");
  const int calls = callsOfARefresh(kSensors);
  EXPECT_LE(calls, kMostFileCalls);
  EXPECT_GT(calls, 0);  // it looks whether something has changed
  EXPECT_EQ(calls, callsOfARefresh(1));
}

TEST_F(Refresh, TheFirstOneReadsEachFileOnce) {
  KVSettings(*mac_.platform).setCurrentLanguage("de");
  EXPECT_LE(callsOfAFirstRefresh(kSensors), 2 * kMostFileCalls);
  EXPECT_EQ(callsOfAFirstRefresh(kSensors), callsOfAFirstRefresh(1));
}

TEST_F(Refresh, MakesFewFileCallsAlsoWithoutASuiteOrATable) {
  EXPECT_LE(callsOfARefresh(kSensors), kMostFileCalls);
  KVSettings(*mac_.platform).setCurrentLanguage("tr");
  EXPECT_LE(callsOfARefresh(kSensors), kMostFileCalls);
}

TEST_F(Refresh, AsksEachPortOnce) {
  int resources = 0;
  const auto found = mac_.bundle.onResourcePath;
  mac_.bundle.onResourcePath = [&](std::string_view name, std::string_view type) {
    ++resources;
    return found(name, type);
  };
  KVSettings live(*mac_.platform);
  show(kSensors, live, *mac_.platform);
  EXPECT_EQ(resources, 1);
}

TEST_F(Refresh, ShowsEveryChangeThatWasMadeBeforeIt) {
  KVSettings live(*mac_.platform);
  EXPECT_EQ(show(1, live, *mac_.platform)[0].label, "%@ Temperature");
  const auto other = platform::LinuxUserDefaults(folder_.path()).suite("group.com.kelvora");
  for (int round = 0; round < 50; ++round) {
    const bool isEven = round % 2 == 0;
    ASSERT_TRUE(other->setObject("CURRENT_LANGUAGE_KEY", isEven ? "de" : "en"));
    ASSERT_TRUE(other->setObject("KVTempUnitCelsius", isEven));
    const Shown shown = show(1, live, *mac_.platform)[0];
    ASSERT_EQ(shown.label, isEven ? "Temperatur %@" : "%@ Temperature") << round;
    ASSERT_EQ(shown.value, isEven ? "46°C" : "114°F") << round;
  }
  mac_.addStrings("de", "\"Temp-%@\" = \"Wärme von %@\";");
  ASSERT_TRUE(other->setObject("CURRENT_LANGUAGE_KEY", "de"));
  std::filesystem::last_write_time(
      mac_.resources.path("de.lproj/Localizable.strings"),
      std::filesystem::file_time_type::clock::now() + std::chrono::seconds(5));
  EXPECT_EQ(show(1, live, *mac_.platform)[0].label, "Wärme von %@");
}

}  // namespace
}  // namespace kelvora
