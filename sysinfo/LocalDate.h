#pragma once

#include <chrono>

namespace kelvora {

/// The date of an instant in the computer's time zone and the Gregorian calendar, in which the
/// model catalogue and the system's reports count their years.
std::chrono::sys_days localDateOf(std::chrono::system_clock::time_point instant);

/// That of now.
std::chrono::sys_days localToday();

}  // namespace kelvora
