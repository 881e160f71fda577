#include "platforms/linux/system/LinuxIORegistry.h"

#include <utility>

#include "platforms/linux/system/PowerSupplies.h"
#include "platforms/recorded/RecordedRegistry.h"

namespace kelvora::platform {

LinuxIORegistry::LinuxIORegistry(std::string root) : root_(std::move(root)) {}

std::optional<std::vector<std::unique_ptr<RegistryEntry>>> LinuxIORegistry::matchingServices(
    std::string_view serviceClass) {
  RecordedRegistry::Services services;
  if (serviceClass == "IOPMPowerSource" || serviceClass == "AppleSmartBattery") {
    for (RecordedRegistryEntry& battery : batteriesOf(root_ + "/sys/class/power_supply")) {
      services.emplace_back(serviceClass, std::move(battery));
    }
  }
  return RecordedRegistry(std::move(services)).matchingServices(serviceClass);
}

}  // namespace kelvora::platform
