#pragma once

#include "platforms/macos/hardware/HIDFunctions.h"
#include "ports/HIDEventSystem.h"

namespace kelvora::platform {

/// The HID event system of this Mac. Where a function of `functions` is missing, clients list
/// nothing. Any thread may create clients.
class MacHIDEventSystem : public HIDEventSystem {
 public:
  /// `functions` must outlive this object and its clients.
  explicit MacHIDEventSystem(const HIDFunctions& functions = HIDFunctions::ofSystem())
      : functions_(functions) {}
  std::unique_ptr<HIDEventSystemClient> createClient() override;
  std::vector<std::string> missingFunctions() override { return functions_.missing(); }

 private:
  const HIDFunctions& functions_;
};

}  // namespace kelvora::platform
