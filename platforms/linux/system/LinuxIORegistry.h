#pragma once

#include <string>

#include "ports/IORegistry.h"

namespace kelvora::platform {

/// The services of the I/O registry that Linux knows under other names: the batteries of the
/// computer, from /sys/class/power_supply, as "IOPMPowerSource" and "AppleSmartBattery". Batteries
/// that are there come before empty bays. Every other class has no services.
class LinuxIORegistry : public IORegistry {
 public:
  /// `root` is put before the path, e.g. a folder with its own "sys"; empty for the system's.
  explicit LinuxIORegistry(std::string root = "");
  /// Reads the batteries at each call. Their entries do not change afterwards.
  std::optional<std::vector<std::unique_ptr<RegistryEntry>>> matchingServices(
      std::string_view serviceClass) override;

 private:
  std::string root_;
};

}  // namespace kelvora::platform
