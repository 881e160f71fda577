#pragma once

#include <cstdint>

#include <MacTypes.h>
#include <os/availability.h>

#define CF_EXPORT extern "C"

using CFTypeID = unsigned long;
using CFIndex = signed long;

/// `length` items from `location` on.
struct CFRange {
  CFIndex location;
  CFIndex length;
};

/// Any object of Core Foundation.
using CFTypeRef = const void*;
using CFStringRef = const struct __CFString*;
using CFAllocatorRef = const struct __CFAllocator*;
/// Any object of a kind that property lists hold.
using CFPropertyListRef = CFTypeRef;

/// Null: the default allocator.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault API_AVAILABLE(macos(10.0));

/// Adds one to an object's count of owners, and returns the object. Not with null.
CF_EXPORT CFTypeRef CFRetain(CFTypeRef object) API_AVAILABLE(macos(10.0));
/// Takes one from the count; the last one frees the object. Not with null.
CF_EXPORT void CFRelease(CFTypeRef object) API_AVAILABLE(macos(10.0));
/// The kind of an object, to compare with CFStringGetTypeID() and its like.
CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef object) API_AVAILABLE(macos(10.0));
