#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"
#include "ports/HIDEventSystem.h"

namespace kelvora::platform {

/// A HID event system that lists recorded services; without a list it has none. An event's first
/// field, the event type shifted left by 16 bits, holds the recorded value, any other field 0.
class RecordedHID : public HIDEventSystem {
 public:
  explicit RecordedHID(std::optional<std::vector<RecordedHIDService>> services);
  std::unique_ptr<HIDEventSystemClient> createClient() override;

 private:
  std::shared_ptr<const std::vector<RecordedHIDService>> services_;
};

}  // namespace kelvora::platform
