#pragma once

#include <chrono>
#include <cstdint>

namespace kelvora {

/// The days from a battery's manufacture to `today`. The date is packed as batteries report it: day
/// in bits 0 to 4, month in bits 5 to 8, years since 1980 above; 18977 is 1 January 2017. 0 for no
/// date (0) and for one to come.
std::uint64_t batteryAgeInDays(std::int64_t manufactureDate, std::chrono::sys_days today);

}  // namespace kelvora
