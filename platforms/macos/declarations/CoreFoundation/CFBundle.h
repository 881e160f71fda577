#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFURL.h>

using CFBundleRef = struct __CFBundle*;

/// The bundle of the running program, which stays the system's; also a program without a bundle has
/// one, its folder.
CF_EXPORT CFBundleRef CFBundleGetMainBundle() API_AVAILABLE(macos(10.0));
/// The bundle at an address, or null.
CF_EXPORT CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url)
    API_AVAILABLE(macos(10.0));
/// The information dictionary, which stays the bundle's; null if it has none.
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) API_AVAILABLE(macos(10.0));
/// The executable, or null.
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle) API_AVAILABLE(macos(10.0));
/// The folder of resources, or null.
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle) API_AVAILABLE(macos(10.0));
/// A resource by name and extension (null: none), in a subfolder (null: the resource folder
/// itself); null if it is missing.
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef name, CFStringRef type,
                                           CFStringRef subfolder) API_AVAILABLE(macos(10.0));
/// Codes of the languages that a bundle has.
CF_EXPORT CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle) API_AVAILABLE(macos(10.0));
/// Of the given codes those that suit the user, the best first.
CF_EXPORT CFArrayRef CFBundleCopyPreferredLocalizationsFromArray(CFArrayRef localizations)
    API_AVAILABLE(macos(10.0));
