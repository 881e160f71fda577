#pragma once

#include <CoreFoundation/CFBase.h>

using CFDictionaryRef = const struct __CFDictionary*;
using CFMutableDictionaryRef = struct __CFDictionary*;

/// How a dictionary keeps its keys and values. Only the two below are used, and only by their
/// address.
struct CFDictionaryKeyCallBacks {
  CFIndex version;
  const void* functions[5];
};
struct CFDictionaryValueCallBacks {
  CFIndex version;
  const void* functions[4];
};
/// Keys are objects, compared by their content.
CF_EXPORT const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks API_AVAILABLE(macos(10.0));
/// Values are objects: retained when added, released when removed.
CF_EXPORT const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks
    API_AVAILABLE(macos(10.0));

CF_EXPORT CFTypeID CFDictionaryGetTypeID() API_AVAILABLE(macos(10.0));
/// An empty dictionary; a `capacity` of 0 is no limit.
CF_EXPORT CFMutableDictionaryRef CFDictionaryCreateMutable(
    CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks* keyCallBacks,
    const CFDictionaryValueCallBacks* valueCallBacks) API_AVAILABLE(macos(10.0));
CF_EXPORT void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key,
                                    const void* value) API_AVAILABLE(macos(10.0));
/// The value of a key, which stays the dictionary's, or null.
CF_EXPORT const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key)
    API_AVAILABLE(macos(10.0));

/// Called once for each pair, in no order.
using CFDictionaryApplierFunction = void (*)(const void* key, const void* value, void* context);
CF_EXPORT void CFDictionaryApplyFunction(CFDictionaryRef dictionary,
                                         CFDictionaryApplierFunction function, void* context)
    API_AVAILABLE(macos(10.0));
