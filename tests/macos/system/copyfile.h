#pragma once

#include <cstdint>

using copyfile_state_t = struct copyfile_state_s*;
using copyfile_flags_t = std::uint32_t;
constexpr copyfile_flags_t COPYFILE_ALL = 15;
constexpr copyfile_flags_t COPYFILE_UNLINK = 1 << 21;
extern "C" int copyfile(const char* from, const char* to, copyfile_state_t state,
                        copyfile_flags_t flags);
