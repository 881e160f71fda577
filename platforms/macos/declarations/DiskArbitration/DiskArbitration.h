#pragma once

#include <CoreFoundation/CoreFoundation.h>

using DASessionRef = struct __DASession*;
using DADiskRef = struct __DADisk*;

/// Keys of a disk's description: a text, a text, a number of bytes, a truth value.
extern "C" const CFStringRef kDADiskDescriptionMediaNameKey API_AVAILABLE(macos(10.4));
extern "C" const CFStringRef kDADiskDescriptionDeviceModelKey API_AVAILABLE(macos(10.4));
extern "C" const CFStringRef kDADiskDescriptionMediaSizeKey API_AVAILABLE(macos(10.4));
extern "C" const CFStringRef kDADiskDescriptionMediaRemovableKey API_AVAILABLE(macos(10.4));

/// A connection to the disk service; null on failure.
extern "C" DASessionRef DASessionCreate(CFAllocatorRef allocator) API_AVAILABLE(macos(10.4));
/// The disk that holds the volume at an address, or null.
extern "C" DADiskRef DADiskCreateFromVolumePath(CFAllocatorRef allocator, DASessionRef session,
                                                CFURLRef path) API_AVAILABLE(macos(10.7));
/// What is known of a disk; null if nothing is.
extern "C" CFDictionaryRef DADiskCopyDescription(DADiskRef disk) API_AVAILABLE(macos(10.4));
