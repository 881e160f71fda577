#include "KelvoraCore/HIDWrapper.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "ports/Ports.h"

namespace kelvora {

namespace {

// What can be read, in the order of a reading. Pages and usages are Apple's own.
struct HIDSensorKind {
  std::uint64_t type;
  std::int32_t usagePage;
  std::int32_t usage;
  std::int32_t eventType;
  double maxLimitValue;
};

constexpr std::array<HIDSensorKind, 2> kKinds{{
    {SensorTypeTemperature, 0xff00, 5, 15, 110},
    {SensorTypeVoltage, 0xff08, 3, 25, 0},
}};

// The first field of an event type.
std::int32_t firstField(std::int32_t eventType) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(eventType) << 16);
}

}  // namespace

std::optional<HIDReadings> AppleSiliconSensors(std::int32_t usagePage, std::int32_t usage,
                                               std::int32_t eventType, Platform& platform) {
  const std::unique_ptr<platform::HIDEventSystemClient> client = platform.hid().createClient();
  if (!client) {
    return std::nullopt;
  }
  client->setMatching({{"PrimaryUsagePage", usagePage}, {"PrimaryUsage", usage}});
  const auto services = client->copyServices();
  if (!services || services->empty()) {
    return std::nullopt;
  }
  HIDReadings readings;
  for (const std::unique_ptr<platform::HIDService>& service : *services) {
    const std::optional<std::string> product = service->copyProperty("Product");
    const std::unique_ptr<platform::HIDEvent> event = service->copyEvent(eventType, 0, 0);
    if (product && event) {
      readings[*product] = event->floatValue(firstField(eventType));
    }
  }
  return readings;
}

HIDWrapper::HIDWrapper() : HIDWrapper(Platform::current()) {}

HIDWrapper::HIDWrapper(Platform& platform) : platform_(platform) {}

std::optional<HIDReadings> HIDWrapper::getSensorsDictByType(std::uint64_t type) const {
  const auto* kind = std::ranges::find(kKinds, type, &HIDSensorKind::type);
  if (kind == kKinds.end()) {
    return std::nullopt;
  }
  return AppleSiliconSensors(kind->usagePage, kind->usage, kind->eventType, platform_);
}

SensorList HIDWrapper::getAllSensors() const {
  SensorList sensors;
  for (const HIDSensorKind& kind : kKinds) {
    const HIDReadings readings = getSensorsDictByType(kind.type).value_or(HIDReadings{});
    for (const auto& [product, value] : readings) {
      sensors.push_back(Sensor::instanceWithKey(product, product, product, value, 0,
                                                kind.maxLimitValue, kind.type, SensorGroupNone,
                                                SensorPlatformEvery, SensorSourceHID, false));
    }
  }
  return sensors;
}

std::optional<double> HIDWrapper::getSensorValueByKey(std::string_view key,
                                                      std::uint64_t type) const {
  const std::optional<HIDReadings> readings = getSensorsDictByType(type);
  if (!readings) {
    return std::nullopt;
  }
  const auto reading = readings->find(std::string(key));
  return reading == readings->end() ? std::nullopt : std::optional(reading->second);
}

std::vector<std::string> HIDWrapper::missingFunctions() const {
  return platform_.hid().missingFunctions();
}

}  // namespace kelvora
