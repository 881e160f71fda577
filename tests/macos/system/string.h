#pragma once
#pragma GCC system_header

#include_next <string.h>

#ifdef __STDC_WANT_LIB_EXT1__
extern "C" int memset_s(void* memory, size_t size, int byte, size_t count);
#endif
