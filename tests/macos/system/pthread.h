#pragma once
#pragma GCC system_header

#include_next <pthread.h>

extern "C" int pthread_main_np();
