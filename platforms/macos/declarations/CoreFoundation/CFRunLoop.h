#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>

using CFRunLoopRef = struct __CFRunLoop*;
using CFRunLoopMode = CFStringRef;

enum CFRunLoopRunResult : SInt32 {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunStopped = 2,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4
};

CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode API_AVAILABLE(macos(10.0));
/// The run loop of the main thread, which stays the system's.
CF_EXPORT CFRunLoopRef CFRunLoopGetMain() API_AVAILABLE(macos(10.0));
/// Runs the loop of the calling thread for a time; `returnAfterSourceHandled` ends it after the
/// first source. The main thread's loop also runs what was queued on the main queue.
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled)
    API_AVAILABLE(macos(10.0));
/// Ends the run of a loop, from any thread.
CF_EXPORT void CFRunLoopStop(CFRunLoopRef loop) API_AVAILABLE(macos(10.0));
