#pragma once

#include <string>
#include <vector>

#include "KelvoraCore/Platform.h"

namespace kelvora::tool {

/// What a reading of the current platform lacks, each once, in the order in which it was missed.
struct ReadFailures {
  /// SMC keys that a recorded Mac does not have, e.g. {"F0ID"}, or {"SMC"} when it has no SMC at
  /// all. Empty for a live machine, whose answers are not limited to a recording.
  std::vector<std::string> notInRecording;
  std::vector<std::string> messages;  ///< of all other failures, e.g. "SMC read (TC0P) failed"
};

/// Whether the current platform's SMC can be opened. The reason why not is printed.
bool hasSMC();

/// Sorts the messages of an SMCWrapper whose connection is still open. `hasSMC` is what the
/// function of that name returned before the wrapper was created.
ReadFailures readFailures(const Platform& platform, bool hasSMC,
                          const std::vector<std::string>& messages);

}  // namespace kelvora::tool
