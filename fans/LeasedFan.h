#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/KVFanLeases.h"

#include "sensors/FanWrites.h"

namespace kelvora {

/// The lease of one fan; none if there is none. As `KVFanLeases::leasedFans`, any thread.
std::optional<KVLeasedFan> leasedFan(Platform& platform, std::uint64_t fan);

/// Hands one fan back if a program has left it behind; none if not. As
/// `KVFanLeases::handBackLeftBehind`, any thread.
std::optional<KVLeasedFan> handBackLeftBehind(Platform& platform, std::uint64_t fan);

/// What hands a fan, 0 to 19, back.
struct FanHandBack {
  std::optional<FanWrite> write;  ///< none if there is nothing to hand back, or it is not known
  std::string fault;              ///< why it is not known
};
/// Any thread.
FanHandBack handBackOfFan(Platform& platform, std::uint64_t fan, FanScheme scheme);

}  // namespace kelvora
