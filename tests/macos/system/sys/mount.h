#pragma once
#pragma GCC system_header

#include <cstdint>

/// Not this system's, which other code of the process calls: the name in the object is another one.
struct statfs {
  std::uint32_t f_bsize;
  std::uint64_t f_blocks;
  std::uint64_t f_bavail;
};
extern "C" int statfs(const char* path, struct statfs* information) __asm__("mac_statfs");
