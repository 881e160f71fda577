#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

using CFNotificationCenterRef = struct __CFNotificationCenter*;
using CFNotificationName = CFStringRef;

/// What becomes of notices for a suspended program.
enum CFNotificationSuspensionBehavior : CFIndex {
  CFNotificationSuspensionBehaviorDrop = 1,
  CFNotificationSuspensionBehaviorCoalesce = 2,
  CFNotificationSuspensionBehaviorHold = 3,
  CFNotificationSuspensionBehaviorDeliverImmediately = 4
};

using CFNotificationCallback = void (*)(CFNotificationCenterRef center, void* observer,
                                        CFNotificationName name, const void* object,
                                        CFDictionaryRef userInfo);

/// The centre of the user's session. It calls observers on the run loop of the main thread.
CF_EXPORT CFNotificationCenterRef CFNotificationCenterGetDistributedCenter()
    API_AVAILABLE(macos(10.0));
/// The centre of this process. It calls observers on the thread that posts.
CF_EXPORT CFNotificationCenterRef CFNotificationCenterGetLocalCenter() API_AVAILABLE(macos(10.4));
/// Adds an observer, a number that the caller chose. A null `name` or `object` is any; the objects
/// of the distributed centre are texts.
CF_EXPORT void CFNotificationCenterAddObserver(CFNotificationCenterRef center, const void* observer,
                                               CFNotificationCallback callBack, CFStringRef name,
                                               const void* object,
                                               CFNotificationSuspensionBehavior suspension)
    API_AVAILABLE(macos(10.0));
CF_EXPORT void CFNotificationCenterRemoveEveryObserver(CFNotificationCenterRef center,
                                                       const void* observer)
    API_AVAILABLE(macos(10.0));
/// Posts a notice; the user info of the distributed centre is made of kinds of property lists.
CF_EXPORT void CFNotificationCenterPostNotification(CFNotificationCenterRef center,
                                                    CFNotificationName name, const void* object,
                                                    CFDictionaryRef userInfo,
                                                    Boolean deliverImmediately)
    API_AVAILABLE(macos(10.0));
