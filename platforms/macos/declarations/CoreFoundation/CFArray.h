#pragma once

#include <CoreFoundation/CFBase.h>

using CFArrayRef = const struct __CFArray*;
using CFMutableArrayRef = struct __CFArray*;

/// How an array keeps its items. Only the one below is used, and only by its address.
struct CFArrayCallBacks {
  CFIndex version;
  const void* functions[4];
};
/// Items are objects: retained when added, released when removed.
CF_EXPORT const CFArrayCallBacks kCFTypeArrayCallBacks API_AVAILABLE(macos(10.0));

CF_EXPORT CFTypeID CFArrayGetTypeID() API_AVAILABLE(macos(10.0));
/// An empty array; a `capacity` of 0 is no limit.
CF_EXPORT CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFArrayCallBacks* callBacks)
    API_AVAILABLE(macos(10.0));
CF_EXPORT void CFArrayAppendValue(CFMutableArrayRef array, const void* value)
    API_AVAILABLE(macos(10.0));
CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef array) API_AVAILABLE(macos(10.0));
/// The item at an index within the array, which stays its owner.
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index)
    API_AVAILABLE(macos(10.0));
