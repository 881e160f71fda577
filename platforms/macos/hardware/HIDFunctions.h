#pragma once

#include <string>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>

namespace kelvora::platform {

using HIDClientRef = struct OpaqueHIDClient*;
using HIDServiceRef = struct OpaqueHIDService*;
using HIDEventRef = struct OpaqueHIDEvent*;

/// The functions of IOKit that read HID sensors. No header of the system declares all of them, and
/// a version of the system may lack some; so they are looked up by name when the program runs.
/// Immutable; any thread.
class HIDFunctions {
 public:
  /// Returns the address of a function, or null.
  using Lookup = void* (*)(const char* name);
  explicit HIDFunctions(Lookup lookup);
  /// Those of this system, looked up once, on first use.
  static const HIDFunctions& ofSystem();

  /// Names of those that were not found, e.g. {"IOHIDEventGetFloatValue"}.
  const std::vector<std::string>& missing() const { return missing_; }
  /// Whether sensors can be read: the functions below are called only then.
  bool areAllFound() const { return missing_.empty(); }

  // Those with Create or Copy in their names return objects that the caller releases, or null.
  HIDClientRef (*clientCreate)(CFAllocatorRef allocator) = nullptr;
  void (*clientSetMatching)(HIDClientRef client, CFDictionaryRef matching) = nullptr;
  CFArrayRef (*clientCopyServices)(HIDClientRef client) = nullptr;
  CFTypeRef (*serviceCopyProperty)(HIDServiceRef service, CFStringRef key) = nullptr;
  HIDEventRef (*serviceCopyEvent)(HIDServiceRef service, std::int64_t type, std::int32_t options,
                                  std::int64_t timestamp) = nullptr;
  double (*eventGetFloatValue)(HIDEventRef event, std::int32_t field) = nullptr;

 private:
  template <typename Signature>
  void find(Lookup lookup, const char* name, Signature*& function);

  std::vector<std::string> missing_;
};

}  // namespace kelvora::platform
