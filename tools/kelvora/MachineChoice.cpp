#include "tools/kelvora/MachineChoice.h"

#include <functional>
#include <memory>
#include <utility>

#include "KelvoraCore/KVFanLeases.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FansLeftBehind.h"

namespace kelvora::tool {

namespace {

// Null where neither the user nor the environment names one.
std::unique_ptr<Platform> namedPlatform(const std::string& machine) {
  return machine.empty() ? Platform::fromEnvironment() : Platform::recorded(machine);
}

// This computer, or the account's choice where it is no Mac.
std::unique_ptr<Platform> unnamedPlatform() {
  auto live = Platform::live();
  auto chosen = live->hasSensorHardware() ? nullptr : Platform::chosen();
  return chosen ? std::move(chosen) : std::move(live);
}

std::unique_ptr<Platform> platformOrStandIn(std::unique_ptr<Platform> platform, bool& isStandIn) {
  isStandIn = platform->isLive() && !platform->hasSensorHardware();
  return isStandIn ? Platform::recorded(kDefaultMachine, std::move(platform)) : std::move(platform);
}

// Installs the machine that is named, else what `unnamed` returns. Returns whether one is named.
bool installMachine(const std::string& machine,
                    const std::function<std::unique_ptr<Platform>()>& unnamed) {
  try {
    auto named = namedPlatform(machine);
    const bool isNamed = named != nullptr;
    Platform::install(isNamed ? std::move(named) : unnamed());
    return isNamed;
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
}

bool isChoiceUsable() {
  try {
    Platform::choice();
    return true;
  } catch (const MachineFileError&) {
    return false;
  }
}

}  // namespace

MachineChoice chooseMachine(const std::string& machine) {
  const MachineChoice choice = chooseMachineOfFans(machine);
  handBackLeftBehind(choice);
  return choice;
}

MachineChoice chooseAnyMachine(const std::string& machine) {
  const bool isNamed = installMachine(machine, unnamedPlatform);
  const MachineChoice choice{Platform::current(), false, isNamed};
  handBackLeftBehind(choice);
  return choice;
}

MachineChoice chooseMachineOfFans(const std::string& machine) {
  bool isStandIn = false;
  const bool isNamed =
      installMachine(machine, [&] { return platformOrStandIn(unnamedPlatform(), isStandIn); });
  return {Platform::current(), isStandIn, isNamed};
}

void handBackLeftBehind(const MachineChoice& machine) {
  if (!machine.isInMemory()) {
    reportLeftBehind(handBackLeftBehind(machine.platform));
  }
}

MachineChoice chooseMachineToCheck(const std::string& machine) {
  if (isChoiceUsable()) {
    return chooseMachineOfFans(machine);
  }
  bool isStandIn = false;
  const bool isNamed =
      installMachine(machine, [&] { return platformOrStandIn(Platform::live(), isStandIn); });
  return {Platform::current(), isStandIn, isNamed};
}

void requireMachine(const MachineChoice& machine) {
  if (machine.isStandIn) {
    throw CommandError(kExitUsage,
                       std::string("no Apple hardware here; choose a recorded Mac first: kelvora "
                                   "machine use ") +
                           kDefaultMachine);
  }
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
