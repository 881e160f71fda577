#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>

using CFRunLoopMode = CFStringRef;

enum CFRunLoopRunResult : SInt32 {
  kCFRunLoopRunFinished = 1,
  kCFRunLoopRunStopped = 2,
  kCFRunLoopRunTimedOut = 3,
  kCFRunLoopRunHandledSource = 4
};

CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode API_AVAILABLE(macos(10.0));
/// Runs the loop of the calling thread for a time, with 0 one turn; `returnAfterSourceHandled` ends
/// it after the first source. The main thread's loop also runs what was queued on the main queue,
/// which counts as a source, except within such work.
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled)
    API_AVAILABLE(macos(10.0));
