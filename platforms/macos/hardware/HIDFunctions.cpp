#include "platforms/macos/hardware/HIDFunctions.h"

#include <dlfcn.h>

namespace kelvora::platform {

HIDFunctions::HIDFunctions(Lookup lookup) {
  find(lookup, "IOHIDEventSystemClientCreate", clientCreate);
  find(lookup, "IOHIDEventSystemClientSetMatching", clientSetMatching);
  find(lookup, "IOHIDEventSystemClientCopyServices", clientCopyServices);
  find(lookup, "IOHIDServiceClientCopyProperty", serviceCopyProperty);
  find(lookup, "IOHIDServiceClientCopyEvent", serviceCopyEvent);
  find(lookup, "IOHIDEventGetFloatValue", eventGetFloatValue);
}

template <typename Signature>
void HIDFunctions::find(Lookup lookup, const char* name, Signature*& function) {
  function = reinterpret_cast<Signature*>(lookup(name));
  if (function == nullptr) {
    missing_.emplace_back(name);
  }
}

const HIDFunctions& HIDFunctions::ofSystem() {
  // Never destroyed: hosts may still read while the process ends.
  static const auto* const functions =
      new HIDFunctions([](const char* name) { return dlsym(RTLD_DEFAULT, name); });
  return *functions;
}

}  // namespace kelvora::platform
