#include "sysinfo/BatteryAge.h"

#include <algorithm>

namespace kelvora {

namespace {

// A day or month out of its range counts on, as a calendar does: 31 April is 1 May.
std::chrono::sys_days unpackedDate(std::int64_t packed) {
  constexpr std::int64_t kMostYears = 9999;  // all years to come are alike
  const std::chrono::days day(packed & 0x1f);
  const std::chrono::months month(packed >> 5 & 0xf);
  const std::chrono::year year(1980 + static_cast<int>(std::min(packed >> 9, kMostYears)));
  using std::chrono::months;
  const auto firstOfMonth = year / std::chrono::January / 1 + (month - months(1));
  return std::chrono::sys_days(firstOfMonth) + (day - std::chrono::days(1));
}

}  // namespace

std::uint64_t batteryAgeInDays(std::int64_t manufactureDate, std::chrono::sys_days today) {
  if (manufactureDate <= 0) {
    return 0;
  }
  const auto age = (today - unpackedDate(manufactureDate)).count();
  return static_cast<std::uint64_t>(std::max<std::int64_t>(age, 0));
}

}  // namespace kelvora
