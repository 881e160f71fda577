#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora {

class Platform;

namespace platform {
class HIDEventSystem;
}  // namespace platform

/// Readings of HID services by their product names: {"PMU tdie1": 41.25, …}.
using HIDReadings = std::map<std::string, double>;

/// The readings of every HID service of a vendor's usage page and usage, taken from one event of
/// `eventType` each: (65280, 5, 15) are the temperatures of an Apple-silicon Mac in degrees
/// Celsius. Of services with one name the last one counts; a service without a name or an event is
/// left out. None when no service matches. Every call reads afresh; any thread.
KELVORA_EXPORT std::optional<HIDReadings> AppleSiliconSensors(std::int32_t usagePage,
                                                              std::int32_t usage,
                                                              std::int32_t eventType);
/// The same on an event system of the caller's.
KELVORA_EXPORT std::optional<HIDReadings> AppleSiliconSensors(
    std::int32_t usagePage, std::int32_t usage, std::int32_t eventType,
    platform::HIDEventSystem& eventSystem);

/// The sensors that Apple-silicon Macs publish as HID services: temperatures (type 0) in degrees
/// Celsius and voltages (type 2) in volts. Every call reads all services of its type afresh;
/// nothing is kept, and nothing is reported when there are none. Any thread.
class KELVORA_EXPORT HIDWrapper {
 public:
  HIDWrapper();
  /// On the event system of `platform`, which outlives the wrapper.
  explicit HIDWrapper(Platform& platform);

  /// Product names and values of a type; none when no service matches, and for any other type.
  std::optional<HIDReadings> getSensorsDictByType(std::uint64_t type) const;

  /// Temperatures, then voltages, each with its product name as key and names. Values are not
  /// judged.
  SensorList getAllSensors() const;

  /// The value of the product of exactly this name, or none.
  std::optional<double> getSensorValueByKey(std::string_view key, std::uint64_t type) const;

 private:
  platform::HIDEventSystem& eventSystem_;
};

}  // namespace kelvora
