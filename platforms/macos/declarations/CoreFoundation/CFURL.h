#pragma once

#include <CoreFoundation/CFBase.h>

using CFURLRef = const struct __CFURL*;

/// The address of the file or folder at a path.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator,
                                                           const UInt8* path, CFIndex count,
                                                           Boolean isDirectory)
    API_AVAILABLE(macos(10.0));
/// Writes the path with its NUL. False if it does not fit into `size` bytes.
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase,
                                                   UInt8* path, CFIndex size)
    API_AVAILABLE(macos(10.0));
