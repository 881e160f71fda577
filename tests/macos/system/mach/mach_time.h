#pragma once

#include <cstdint>

#include <mach/mach.h>

struct mach_timebase_info_data_t {
  std::uint32_t numer;
  std::uint32_t denom;
};
extern "C" kern_return_t mach_timebase_info(mach_timebase_info_data_t* unit);
extern "C" std::uint64_t mach_absolute_time();
