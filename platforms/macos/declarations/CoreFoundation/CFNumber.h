#pragma once

#include <CoreFoundation/CFBase.h>

using CFBooleanRef = const struct __CFBoolean*;
using CFNumberRef = const struct __CFNumber*;

/// The type of the memory that a number is read from or written to.
enum CFNumberType : CFIndex {
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat64Type = 6,
};

CF_EXPORT const CFBooleanRef kCFBooleanTrue API_AVAILABLE(macos(10.0));
CF_EXPORT const CFBooleanRef kCFBooleanFalse API_AVAILABLE(macos(10.0));
CF_EXPORT CFTypeID CFBooleanGetTypeID() API_AVAILABLE(macos(10.0));
CF_EXPORT Boolean CFBooleanGetValue(CFBooleanRef value) API_AVAILABLE(macos(10.0));

CF_EXPORT CFTypeID CFNumberGetTypeID() API_AVAILABLE(macos(10.0));
/// A number with the value that `value` points to.
CF_EXPORT CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value)
    API_AVAILABLE(macos(10.0));
/// Whether a number is kept as a floating-point value.
CF_EXPORT Boolean CFNumberIsFloatType(CFNumberRef number) API_AVAILABLE(macos(10.0));
/// Writes a number to `value`. False when the type cannot hold it exactly; then an approximation is
/// written.
CF_EXPORT Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value)
    API_AVAILABLE(macos(10.0));
