#pragma once

#include <CoreFoundation/CFBase.h>

using CFDataRef = const struct __CFData*;

CF_EXPORT CFTypeID CFDataGetTypeID() API_AVAILABLE(macos(10.0));
/// A copy of `count` bytes.
CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count)
    API_AVAILABLE(macos(10.0));
CF_EXPORT CFIndex CFDataGetLength(CFDataRef data) API_AVAILABLE(macos(10.0));
/// The bytes, which stay the object's.
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef data) API_AVAILABLE(macos(10.0));
