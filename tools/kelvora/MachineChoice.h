#pragma once

#include <string>
#include <vector>

#include "ports/Ports.h"

namespace kelvora::tool {

/// The recording that stands in where there is no Apple hardware.
inline constexpr char kDefaultMachine[] = "MacBookPro15,1";

/// A recorded Mac that this program carries.
struct CarriedMachine {
  std::string name;  ///< its model identifier, e.g. "iMac19,1"
  std::string path;
};

struct MachineChoice {
  Platform& platform;
  bool isStandIn = false;  ///< no machine was asked for and this computer is no Mac
};

/// The recorded Macs in the program's resources, sorted by name.
std::vector<CarriedMachine> carriedMachines(Platform& live);

/// Installs the platform that `machine` names (a carried machine, else a file; empty: this
/// computer, or the default recording where it has no Apple hardware) as the current one. Throws
/// CommandError (wrong usage) for an unknown name or a bad file.
MachineChoice chooseMachine(const std::string& machine);

}  // namespace kelvora::tool
