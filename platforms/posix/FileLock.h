#pragma once

#include <chrono>
#include <string>

#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

/// What the name of a file's lock adds to its own.
inline constexpr const char* kLockEnding = ".lock";

/// Locks a file that exists for its lock alone, e.g. "Settings.plist.lock", and creates it if it is
/// missing. Waiting processes and threads get the lock in order of arrival. It is held until the
/// descriptor is closed, or the process ends. Not open on failure, with the reason in errno:
/// ETIMEDOUT when others have held the lock all of `wait` (0 tries once), ELOOP when the path is a
/// symbolic link, which is never followed.
FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds wait);

/// The same without creating the file: ENOENT when it is missing. Changes nothing.
FileDescriptor lockExistingFile(const std::string& path, std::chrono::milliseconds wait);

}  // namespace kelvora::platform
