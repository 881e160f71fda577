#pragma once

#include <cstddef>

constexpr int CTL_NET = 4;
constexpr int CTL_HW = 6;
constexpr int HW_PAGESIZE = 7;

extern "C" int sysctlbyname(const char* name, void* value, std::size_t* size, void* newValue,
                            std::size_t newSize);
extern "C" int sysctl(int* name, unsigned int count, void* value, std::size_t* size, void* newValue,
                      std::size_t newSize);
