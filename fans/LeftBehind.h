#pragma once

#include <cstdint>
#include <optional>

#include "KelvoraCore/KVFanLeases.h"

namespace kelvora {

/// Hands one fan back if a program has left it behind; none if not. As
/// `KVFanLeases::handBackLeftBehind`, any thread.
std::optional<KVLeasedFan> handBackLeftBehind(Platform& platform, std::uint64_t fan);

}  // namespace kelvora
