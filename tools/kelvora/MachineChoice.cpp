#include "tools/kelvora/MachineChoice.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "platforms/recorded/RecordedPlatform.h"
#include "platforms/recorded/file/MachineFile.h"
#include "tools/kelvora/Command.h"

namespace kelvora::tool {

namespace {

constexpr std::string_view kMachineExtension = ".json";

bool hasAppleHardware(Platform& live) {
  platform::IOObject iterator = 0;
  if (live.smc().matchingServices("AppleSMC", iterator) == platform::kKernelSuccess) {
    const platform::IOObject service = live.smc().nextService(iterator);
    live.smc().release(iterator);
    if (service != 0) {
      live.smc().release(service);
      return true;
    }
  }
  const auto client = live.hid().createClient();
  if (client == nullptr) {
    return false;
  }
  client->setMatching({{"PrimaryUsagePage", 0xff00}, {"PrimaryUsage", 5}});
  const auto services = client->copyServices();
  return services.has_value() && !services->empty();
}

std::optional<std::string> pathOfCarried(Platform& live, const std::string& name) {
  for (CarriedMachine& machine : carriedMachines(live)) {
    if (machine.name == name) {
      return std::move(machine.path);
    }
  }
  return std::nullopt;
}

std::string pathOf(Platform& live, const std::string& machine) {
  if (std::optional<std::string> path = pathOfCarried(live, machine)) {
    return *std::move(path);
  }
  if (!live.files().exists(machine)) {
    throw CommandError(kExitUsage, machine +
                                       ": neither a file nor a recorded Mac ('kelvora machines' "
                                       "lists them)");
  }
  return machine;
}

}  // namespace

std::vector<CarriedMachine> carriedMachines(Platform& live) {
  std::vector<CarriedMachine> machines;
  const std::optional<std::string> folder = live.mainBundle().resourcePath("machines", "");
  if (!folder) {
    return machines;
  }
  for (const std::string& entry : live.files().list(*folder).value_or(std::vector<std::string>())) {
    if (entry.ends_with(kMachineExtension)) {
      machines.push_back(
          {entry.substr(0, entry.size() - kMachineExtension.size()), *folder + "/" + entry});
    }
  }
  std::ranges::sort(machines, {}, &CarriedMachine::name);
  return machines;
}

MachineChoice chooseMachine(const std::string& machine) {
  std::unique_ptr<Platform> chosen = Platform::live();
  const bool isStandIn = machine.empty() && !hasAppleHardware(*chosen);
  if (isStandIn || !machine.empty()) {
    const std::string path = pathOf(*chosen, isStandIn ? kDefaultMachine : machine);
    try {
      chosen = platform::makeRecordedPlatform(platform::readMachineFile(path));
    } catch (const platform::MachineFileError& error) {
      throw CommandError(kExitUsage, error.what());
    }
  }
  Platform::install(std::move(chosen));
  return {Platform::current(), isStandIn};
}

}  // namespace kelvora::tool
