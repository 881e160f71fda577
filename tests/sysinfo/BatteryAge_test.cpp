#include "sysinfo/BatteryAge.h"

#include <cstdlib>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

#include "sysinfo/LocalDate.h"

namespace kelvora {
namespace {

using std::chrono::sys_days;
using namespace std::chrono_literals;

std::int64_t packed(std::int64_t year, std::int64_t month, std::int64_t day) {
  return (year - 1980) << 9 | month << 5 | day;
}

std::uint64_t ageIn2026(std::int64_t manufactureDate) {
  return batteryAgeInDays(manufactureDate, sys_days(2026y / 11 / 22));
}

TEST(BatteryAge, IsTheDaysSinceThePackedDate) {
  EXPECT_EQ(packed(2017, 1, 1), 18977);
  EXPECT_EQ(batteryAgeInDays(18977, sys_days(2017y / 1 / 1)), 0U);
  EXPECT_EQ(batteryAgeInDays(18977, sys_days(2017y / 1 / 2)), 1U);
  EXPECT_EQ(batteryAgeInDays(18977, sys_days(2018y / 1 / 1)), 365U);
  EXPECT_EQ(batteryAgeInDays(packed(2016, 2, 28), sys_days(2016y / 3 / 1)), 2U) << "a leap year";
  EXPECT_EQ(ageIn2026(packed(1980, 12, 31)), 16762U);
}

TEST(BatteryAge, OfADateToComeIsZero) {
  EXPECT_EQ(ageIn2026(packed(2026, 11, 21)), 1U);
  EXPECT_EQ(ageIn2026(packed(2026, 11, 23)), 0U);
  EXPECT_EQ(ageIn2026(packed(9000, 1, 1)), 0U);
  EXPECT_EQ(ageIn2026(packed(40000, 1, 1)), 0U);
  EXPECT_EQ(ageIn2026(std::numeric_limits<std::int64_t>::max()), 0U);
}

TEST(BatteryAge, WithoutADateIsZero) {
  EXPECT_EQ(ageIn2026(0), 0U);
  EXPECT_EQ(ageIn2026(-1), 0U);
  EXPECT_EQ(ageIn2026(1), 17158U) << "a day alone is in the month before January";
}

TEST(BatteryAge, DaysAndMonthsOutOfTheirRangeCountOn) {
  EXPECT_EQ(ageIn2026(packed(2019, 4, 31)), ageIn2026(packed(2019, 5, 1)));
  EXPECT_EQ(ageIn2026(packed(2019, 13, 1)), ageIn2026(packed(2020, 1, 1)));
  EXPECT_EQ(ageIn2026(packed(2019, 0, 1)), ageIn2026(packed(2018, 12, 1)));
  EXPECT_EQ(ageIn2026(packed(2019, 3, 0)), ageIn2026(packed(2019, 2, 28)));
}

TEST(BatteryAge, TodayIsADateOfTheComputersTimeZone) {
  const auto todayIn = [](const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
    return localToday();
  };
  // 26 hours apart it is never the same day.
  const auto east = todayIn("KIRI-14");
  const auto west = todayIn("BAKER12");
  EXPECT_GE((east - west).count(), 1);
  EXPECT_LE((east - west).count(), 2);
  const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
  EXPECT_LE(west, today);
  EXPECT_LE(today - west, std::chrono::days(1));
}

}  // namespace
}  // namespace kelvora
