#include "tools/kelvora/MachineChoice.h"

#include <memory>
#include <utility>

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

namespace {

std::unique_ptr<Platform> chosenPlatform(const std::string& machine, bool& isStandIn) {
  if (!machine.empty()) {
    return Platform::recorded(machine);
  }
  if (auto chosen = Platform::fromEnvironment()) {
    return chosen;
  }
  auto live = Platform::live();
  isStandIn = !live->hasSensorHardware();
  return isStandIn ? Platform::recorded(kDefaultMachine, std::move(live)) : std::move(live);
}

}  // namespace

MachineChoice chooseMachine(const std::string& machine) {
  bool isStandIn = false;
  try {
    Platform::install(chosenPlatform(machine, isStandIn));
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
  return {Platform::current(), isStandIn};
}

void useMachineOfEnvironment() {
  try {
    if (auto chosen = Platform::fromEnvironment()) {
      Platform::install(std::move(chosen));
    }
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
}

}  // namespace kelvora::tool
