#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kelvora/MachineChoice.h"

namespace kelvora::tool {

enum class CheckState : std::uint8_t {
  kOK,
  kHint,    ///< works, but for something that a user may want
  kBroken,  ///< does not work until something is done
};

/// One thing that the programs need, and the state that it is in.
struct Check {
  std::string name;  ///< e.g. "notices"
  CheckState state = CheckState::kOK;
  std::string finding;  ///< e.g. a path and what is there
  std::string advice;   ///< what to do about it; empty when all is well
};

/// Everything that is checked, in the order of a report. Leaves every file and folder as it is; a
/// folder is tried with a file of a name of its own, which is removed, and so are settings that the
/// system keeps, with a setting. Fans that programs have left
/// behind are handed back.
std::vector<Check> doctorChecks(const MachineChoice& machine);

}  // namespace kelvora::tool
