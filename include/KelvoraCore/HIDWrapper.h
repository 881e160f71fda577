#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// Readings of HID services by their product names: {"PMU tdie1": 41.25, …}.
using HIDReadings = std::map<std::string, double>;

/// Reads every HID service of a vendor's usage page and usage, one event of `eventType` each:
/// (65280, 5, 15) gives the temperatures of an Apple-silicon Mac in degrees Celsius. Of services
/// with the same name the last one wins; a service without a name or an event is left out. Returns
/// none when no service matches; nothing is logged. Every call reads again. Any thread.
KELVORA_EXPORT std::optional<HIDReadings> AppleSiliconSensors(
    std::int32_t usagePage, std::int32_t usage, std::int32_t eventType,
    Platform& platform = Platform::current());

/// The sensors that Apple-silicon Macs publish as HID services: temperatures (type 0) in degrees
/// Celsius and voltages (type 2) in volts. Every call reads all services of its type again; nothing
/// is cached, and nothing is logged when there are none. Any thread.
class KELVORA_EXPORT HIDWrapper {
 public:
  /// A wrapper on the current platform.
  HIDWrapper();
  /// A wrapper on the event system of `platform`, which must outlive it.
  explicit HIDWrapper(Platform& platform);

  /// Product names and values of a type; none when no service matches and for any other type.
  std::optional<HIDReadings> getSensorsDictByType(std::uint64_t type) const;

  /// New records of the temperatures, then of the voltages, each with its product name as key and
  /// names. The caller owns them. Values are not filtered: zero is listed too.
  SensorList getAllSensors() const;

  /// The value of the product of exactly this name, e.g. 41.25 for ("PMU tdie1", 0), or none.
  std::optional<double> getSensorValueByKey(std::string_view key, std::uint64_t type) const;

  /// The undocumented macOS functions that reading HID services needs and that this version of
  /// macOS lacks, e.g. {"IOHIDServiceClientCopyEvent"}: then there are no sensors. Empty on a
  /// recorded Mac and on other systems.
  std::vector<std::string> missingFunctions() const;

 private:
  Platform& platform_;
};

}  // namespace kelvora
