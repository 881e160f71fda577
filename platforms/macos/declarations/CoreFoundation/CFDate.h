#pragma once

#include <CoreFoundation/CFBase.h>

using CFDateRef = const struct __CFDate*;
/// Seconds.
using CFTimeInterval = double;
/// Seconds since the first moment of 2001, UTC.
using CFAbsoluteTime = CFTimeInterval;

CF_EXPORT CFTypeID CFDateGetTypeID() API_AVAILABLE(macos(10.0));
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime time)
    API_AVAILABLE(macos(10.0));
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) API_AVAILABLE(macos(10.0));
