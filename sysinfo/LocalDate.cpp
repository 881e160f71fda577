#include "sysinfo/LocalDate.h"

#include <ctime>

namespace kelvora {

std::chrono::sys_days localDateOf(std::chrono::system_clock::time_point instant) {
  const std::time_t time = std::chrono::system_clock::to_time_t(instant);
  std::tm fields{};
  localtime_r(&time, &fields);
  return std::chrono::year(1900 + fields.tm_year) / (fields.tm_mon + 1) / fields.tm_mday;
}

std::chrono::sys_days localToday() { return localDateOf(std::chrono::system_clock::now()); }

}  // namespace kelvora
