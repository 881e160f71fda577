#include "tools/kelvora/MachineChoice.h"

#include <memory>
#include <utility>

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

namespace {

// Null where neither the user nor the environment names one.
std::unique_ptr<Platform> namedPlatform(const std::string& machine) {
  return machine.empty() ? Platform::fromEnvironment() : Platform::recorded(machine);
}

std::unique_ptr<Platform> unnamedPlatform(bool& isStandIn) {
  auto live = Platform::live();
  isStandIn = !live->hasSensorHardware();
  return isStandIn ? Platform::recorded(kDefaultMachine, std::move(live)) : std::move(live);
}

}  // namespace

MachineChoice chooseMachine(const std::string& machine) {
  bool isStandIn = false;
  try {
    auto named = namedPlatform(machine);
    Platform::install(named ? std::move(named) : unnamedPlatform(isStandIn));
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
  return {Platform::current(), isStandIn};
}

MachineChoice chooseAnyMachine(const std::string& machine) {
  try {
    auto named = namedPlatform(machine);
    Platform::install(named ? std::move(named) : Platform::live());
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
  return {Platform::current()};
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
