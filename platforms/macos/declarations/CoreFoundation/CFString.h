#pragma once

#include <CoreFoundation/CFBase.h>

using CFStringEncoding = UInt32;
constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

/// A text that lives as long as the program; it need not be released. The compiler lays it out as
/// an object of the constant-string class.
#ifdef __APPLE__
#define CFSTR(text) \
  (reinterpret_cast<CFStringRef>(__builtin___CFStringMakeConstantString("" text "")))
#else
#define CFSTR(text) (__CFStringMakeConstantString("" text ""))
#endif
/// What CFSTR calls where the compiler knows no such texts.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* text) API_AVAILABLE(macos(10.0));

CF_EXPORT CFTypeID CFStringGetTypeID() API_AVAILABLE(macos(10.0));
/// A text of `count` bytes. Null if they are not valid in the encoding. `isExternal`: a byte order
/// mark may come first.
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes,
                                              CFIndex count, CFStringEncoding encoding,
                                              Boolean isExternal) API_AVAILABLE(macos(10.0));
/// How many UTF-16 units a text has.
CF_EXPORT CFIndex CFStringGetLength(CFStringRef text) API_AVAILABLE(macos(10.0));
/// Writes the UTF-16 units of a range, which must be within the text, to `buffer`.
CF_EXPORT void CFStringGetCharacters(CFStringRef text, CFRange range, UniChar* buffer)
    API_AVAILABLE(macos(10.0));
