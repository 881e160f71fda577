#include "sysinfo/BatteryQuery.h"

#include "KelvoraCore/Sensor.h"

#include "ports/IORegistry.h"

namespace kelvora {

ZDBatteryInfo queryBattery(platform::IORegistry& registry, std::uint64_t family) {
  ZDBatteryInfo info;
  const auto batteries = registry.matchingServices("AppleSmartBattery");
  if (!batteries || batteries->empty()) {
    return info;
  }
  const platform::RegistryEntry& battery = *batteries->front();
  const auto number = [&](const char* key) {
    const auto value = battery.property(key);
    return value ? value->integerValue() : 0;
  };
  info.cycleCount = number("CycleCount");
  // Apple silicon has a percentage under the name that Intel Macs use for the capacity.
  info.maxCapacity = number(family == SensorPlatformIntel ? "MaxCapacity" : "AppleRawMaxCapacity");
  info.designedCapacity = number("DesignCapacity");
  return info;
}

}  // namespace kelvora
