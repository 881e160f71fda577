// Three mistakes, which the static analyser has to find: a proof that it looks. Never linked.
#include <IOKit/IOKitLib.h>

namespace kelvora::platform {

CFIndex leaksOnOneWay(const UInt8* bytes, CFIndex count) {
  CFStringRef text =
      CFStringCreateWithBytes(kCFAllocatorDefault, bytes, count, kCFStringEncodingUTF8, 0);
  if (count > 10) {
    return -1;
  }
  const CFIndex length = CFStringGetLength(text);
  CFRelease(text);
  return length;
}

void releasesWhatItOnlyGot(CFDictionaryRef dictionary, CFStringRef key) {
  CFTypeRef value = CFDictionaryGetValue(dictionary, key);
  CFRelease(value);
}

bool leaksAProperty(io_registry_entry_t entry, CFStringRef key) {
  return IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0) != nullptr;
}

}  // namespace kelvora::platform
