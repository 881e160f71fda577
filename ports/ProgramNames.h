#pragma once

namespace kelvora {

// File names of the product's own programs. Each one is beside the executables of the others; the
// privileged tool also runs from the support folder.

inline constexpr char kSMCToolName[] = "Kelvora SMC";
inline constexpr char kGuardianName[] = "Kelvora Guardian";

}  // namespace kelvora
