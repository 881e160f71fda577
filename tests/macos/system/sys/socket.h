#pragma once
#pragma GCC system_header

#include_next <sys/socket.h>

// Other systems have another number.
#undef PF_ROUTE
#define PF_ROUTE 17
constexpr int NET_RT_IFLIST2 = 6;
