#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kelvora::testing {

/// How many calls that look at the file system (open, stat, access, readlink, read and their like)
/// `work` makes in a process of its own, after `preparation` there. Counted by the kernel's
/// tracing, so no call of any library is missed. Throws std::runtime_error where tracing is not
/// permitted or the process fails.
int fileCallsOf(const std::function<void()>& preparation, const std::function<void()>& work);

/// The calls by which `work`, in a process of its own, puts files on the disk ("fsync") and into
/// their places ("rename"), in order. Throws like fileCallsOf().
std::vector<std::string> storingCallsOf(const std::function<void()>& work);

/// Runs `work` in a process of its own, which waits at each call of fcntl() until `meanwhile` has
/// run here; that gets the number of the call, from 1. Throws like fileCallsOf().
void interruptAtFcntl(const std::function<void(int)>& meanwhile, const std::function<void()>& work);

}  // namespace kelvora::testing
