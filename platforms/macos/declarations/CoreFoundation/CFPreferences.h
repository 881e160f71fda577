#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>

/// The domain of every program of the user; "Apple Global Domain" as an application's name.
CF_EXPORT const CFStringRef kCFPreferencesAnyApplication API_AVAILABLE(macos(10.0));
CF_EXPORT const CFStringRef kCFPreferencesCurrentUser API_AVAILABLE(macos(10.0));
CF_EXPORT const CFStringRef kCFPreferencesAnyHost API_AVAILABLE(macos(10.0));

/// The value of a key as the named application sees it, or null.
CF_EXPORT CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application)
    API_AVAILABLE(macos(10.0));
/// Sets a value of the user's domain of an application; null removes it. Kept until it is
/// synchronised.
CF_EXPORT void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value,
                                        CFStringRef application) API_AVAILABLE(macos(10.0));
/// Writes what was set, and forgets what was read, so that the next look sees what others wrote.
/// False if it could not be written.
CF_EXPORT Boolean CFPreferencesAppSynchronize(CFStringRef application) API_AVAILABLE(macos(10.0));
/// Every value of the keys in one domain; null `keys`: of all.
CF_EXPORT CFDictionaryRef CFPreferencesCopyMultiple(CFArrayRef keys, CFStringRef application,
                                                    CFStringRef user, CFStringRef host)
    API_AVAILABLE(macos(10.0));
/// The value of a key in one domain, or null.
CF_EXPORT CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application,
                                                   CFStringRef user, CFStringRef host)
    API_AVAILABLE(macos(10.0));
/// The same as CFPreferencesAppSynchronize, for one domain.
CF_EXPORT Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user,
                                           CFStringRef host) API_AVAILABLE(macos(10.0));
