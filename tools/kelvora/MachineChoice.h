#pragma once

#include <string>

#include "KelvoraCore/Platform.h"

namespace kelvora::tool {

/// The recording that is shown where there is no Apple hardware.
inline constexpr char kDefaultMachine[] = "MacBookPro15,1";

struct MachineChoice {
  Platform& platform;
  bool isStandIn = false;  ///< no machine was asked for and this computer is not a Mac
  bool isNamed = false;    ///< the user or the environment named it

  /// Whether it is a recorded Mac that no other program shares: what is written to it is gone with
  /// this process.
  bool isInMemory() const { return isStandIn || isNamed; }
};

/// Installs a machine as the current platform: the recorded Mac that `machine` names; where that is
/// empty, the one of the environment, else this computer, else (without Apple hardware) the one
/// that the account has chosen, else the default recording. Then hands back the fans that programs
/// of the account have left behind, and says so on standard error. Throws CommandError (wrong
/// usage) for an unknown name or a bad file.
MachineChoice chooseMachine(const std::string& machine);

/// The same for what every computer reports: this computer takes the place of the default
/// recording.
MachineChoice chooseAnyMachine(const std::string& machine);

/// The same as `chooseMachine`, but leaves the fans to a command that reports them itself.
MachineChoice chooseMachineOfFans(const std::string& machine);

/// Hands back the fans that programs of the account have left behind, and says so on standard
/// error. Nothing for a machine of this process's memory, which has no leases.
void handBackLeftBehind(const MachineChoice& machine);

/// The same as `chooseMachineOfFans` for a program that says what is broken: an account's choice
/// that cannot be used counts as none.
MachineChoice chooseMachineToCheck(const std::string& machine);

/// Throws CommandError (wrong usage) for the default recording, which the user has not asked for.
void requireMachine(const MachineChoice& machine);

/// Installs the recorded Mac of the environment, if it names one, for commands that read no
/// hardware. Throws CommandError (wrong usage).
void useMachineOfEnvironment();

}  // namespace kelvora::tool
