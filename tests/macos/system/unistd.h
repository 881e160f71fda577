#pragma once
#pragma GCC system_header

#include_next <unistd.h>

extern "C" int issetugid();
