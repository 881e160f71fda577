#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVUtils.h"

namespace kelvora {
namespace {

using ::testing::ElementsAre;

constexpr double kNoonOf7March2024 = 1709812800;

class TimeAxis : public ::testing::Test {
 protected:
  TimeAxis() { ::setenv("TZ", "UTC", 1); }

  static std::vector<KVAxisTick> ticksAt(double seconds, std::int64_t timeRange) {
    return KVUtils::xAxisWithCurrentDate(
        KVExtension::Date(std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000))),
        timeRange);
  }
  static std::vector<std::string> labelsOf(const std::vector<KVAxisTick>& ticks) {
    std::vector<std::string> labels;
    for (const KVAxisTick& tick : ticks) {
      labels.push_back(tick.label);
    }
    return labels;
  }
  static void expectSteps(const std::vector<KVAxisTick>& ticks, double now, double step) {
    for (std::size_t i = 0; i < ticks.size(); ++i) {
      EXPECT_EQ(ticks[i].time, now - step * static_cast<double>(ticks.size() - 1 - i)) << i;
    }
  }
};

TEST_F(TimeAxis, OfAnHourHas7TicksTenMinutesApart) {
  const auto ticks = ticksAt(kNoonOf7March2024 + 300, KVGraphTimeRangeHour);
  expectSteps(ticks, kNoonOf7March2024 + 300, 600);
  EXPECT_THAT(labelsOf(ticks),
              ElementsAre("11:05", "11:15", "11:25", "11:35", "11:45", "11:55", "12:05"));
}

TEST_F(TimeAxis, OfADayHas7TicksFourHoursApart) {
  const auto ticks = ticksAt(kNoonOf7March2024, KVGraphTimeRangeDay);
  expectSteps(ticks, kNoonOf7March2024, 14400);
  EXPECT_THAT(labelsOf(ticks),
              ElementsAre("12:00", "16:00", "20:00", "00:00", "04:00", "08:00", "12:00"));
}

TEST_F(TimeAxis, OfAWeekHas8TicksADayApart) {
  const auto ticks = ticksAt(kNoonOf7March2024, KVGraphTimeRangeWeek);
  expectSteps(ticks, kNoonOf7March2024, 86400);
  EXPECT_THAT(labelsOf(ticks),
              ElementsAre("2/29", "3/01", "3/02", "3/03", "3/04", "3/05", "3/06", "3/07"));
}

TEST_F(TimeAxis, OfAnyOtherRangeIsThatOfAWeek) {
  for (const std::int64_t range : {3, -1, 256}) {
    EXPECT_EQ(ticksAt(kNoonOf7March2024, range), ticksAt(kNoonOf7March2024, 2)) << range;
  }
}

TEST_F(TimeAxis, KeepsFractionsOfASecond) {
  constexpr double kMicrosecond = 1e-6;
  EXPECT_NEAR(ticksAt(kNoonOf7March2024 + 0.25, 0).back().time, kNoonOf7March2024 + 0.25,
              kMicrosecond);
  EXPECT_NEAR(ticksAt(kNoonOf7March2024 + 0.25, 2).front().time,
              kNoonOf7March2024 + 0.25 - 7 * 86400, kMicrosecond);
}

// The tick before the change of the clocks is 24 hours earlier, at another time of the day.
TEST_F(TimeAxis, LabelsAreInTheUsersTimeZone) {
  ::setenv("TZ", "Europe/Berlin", 1);
  constexpr double kNoonOf31March2024 = 1711879200;  // 12:00 in summer time, 10:00 UTC
  EXPECT_EQ(ticksAt(kNoonOf31March2024, 0).back().label, "12:00");
  EXPECT_EQ(ticksAt(kNoonOf31March2024, 1).front().label, "11:00");
  EXPECT_EQ(ticksAt(kNoonOf31March2024, 2).front().label, "3/24");
}

}  // namespace
}  // namespace kelvora
