#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// One event of a HID service, e.g. a temperature event (type 15).
class HIDEvent {
 public:
  virtual ~HIDEvent() = default;
  /// IOHIDEventGetFloatValue. `field` is the event type shifted left by 16 bits plus the field's
  /// index, e.g. 15 << 16 for degrees Celsius of a temperature event.
  virtual double floatValue(std::int32_t field) const = 0;
};

/// One service of the HID event system, e.g. the sensor "PMU tdie1".
class HIDService {
 public:
  virtual ~HIDService() = default;
  /// IOHIDServiceClientCopyProperty for a text property, e.g. "Product"; none if it is absent or
  /// no text. UTF-8.
  virtual std::optional<std::string> copyProperty(std::string_view name) const = 0;
  /// IOHIDServiceClientCopyEvent; null if the service has no such event now. The
  /// caller owns the event.
  virtual std::unique_ptr<HIDEvent> copyEvent(std::int64_t type, std::int32_t options,
                                              std::int64_t timestamp) const = 0;
};

/// One client of the HID event system: IOHIDEventSystemClientRef.
class HIDEventSystemClient {
 public:
  virtual ~HIDEventSystemClient() = default;
  /// IOHIDEventSystemClientSetMatching, e.g. {"PrimaryUsagePage": 65280, "PrimaryUsage": 5}.
  virtual void setMatching(const std::map<std::string, std::int32_t>& matching) = 0;
  /// IOHIDEventSystemClientCopyServices: the matching services in the system's order, or none if
  /// the system lists none. Services may be used only while the client lives.
  virtual std::optional<std::vector<std::unique_ptr<HIDService>>> copyServices() = 0;
};

/// The HID event system, which publishes most temperature sensors of Apple-silicon Macs. A system
/// without one gives clients that list nothing. Any thread may create clients; a client belongs to
/// its creator's thread.
class HIDEventSystem {
 public:
  virtual ~HIDEventSystem() = default;
  /// IOHIDEventSystemClientCreate with the default allocator; null when it cannot be created.
  virtual std::unique_ptr<HIDEventSystemClient> createClient() = 0;
  /// Names of the system's functions that are needed here and that this version of it lacks, e.g.
  /// {"IOHIDServiceClientCopyEvent"}; then every client lists nothing.
  virtual std::vector<std::string> missingFunctions() { return {}; }
};

}  // namespace kelvora::platform
