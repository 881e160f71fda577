#include <optional>

#include "KelvoraCore/PropertyListValue.h"
#include "KelvoraCore/ZDSystemMonitor.h"

#include "ports/Ports.h"
#include "sysinfo/BatteryAge.h"
#include "sysinfo/LocalDate.h"

namespace kelvora {

namespace {

std::optional<PropertyListValue::Dictionary> powerSource(platform::IORegistry& registry) {
  const auto sources = registry.matchingServices("IOPMPowerSource");
  return sources && !sources->empty() ? sources->front()->properties() : std::nullopt;
}

}  // namespace

ZDBatteryUsage ZDSystemMonitor::batteryUsageInfo() const {
  constexpr double kMilli = 1000;
  const auto properties = powerSource(platform_.registry());
  if (!properties) {
    return {};
  }
  const auto value = [&](const char* key) {
    const auto found = properties->find(key);
    return found == properties->end() ? PropertyListValue(false) : found->second;
  };
  const auto count = [&](const char* key) {
    return static_cast<std::uint64_t>(value(key).integerValue());
  };
  ZDBatteryUsage usage;
  usage.batteryInstalled = value("BatteryInstalled").boolValue();
  usage.fullyCharged = value("FullyCharged").boolValue();
  usage.externalConnected = value("ExternalConnected").boolValue();
  usage.isCharging = value("IsCharging").boolValue();
  usage.voltage = value("Voltage").doubleValue() / kMilli;
  usage.amperage = value("Amperage").doubleValue() / kMilli;
  usage.designCapacity = value("DesignCapacity").doubleValue();
  usage.maxCapacity = value("MaxCapacity").doubleValue();
  usage.currentCapacity = value("CurrentCapacity").doubleValue();
  usage.designCycleCount = count("DesignCycleCount9C");
  usage.cycleCount = count("CycleCount");
  usage.ageInDays = batteryAgeInDays(value("ManufactureDate").integerValue(), localToday());
  return usage;
}

}  // namespace kelvora
