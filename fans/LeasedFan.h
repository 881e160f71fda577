#pragma once

#include <cstdint>
#include <optional>

#include "KelvoraCore/KVFanLeases.h"

namespace kelvora {

/// The lease of one fan; none if there is none. As `KVFanLeases::leasedFans`, any thread.
std::optional<KVLeasedFan> leasedFan(Platform& platform, std::uint64_t fan);

/// Hands one fan back if a program has left it behind; none if not. As
/// `KVFanLeases::handBackLeftBehind`, any thread.
std::optional<KVLeasedFan> handBackLeftBehind(Platform& platform, std::uint64_t fan);

}  // namespace kelvora
