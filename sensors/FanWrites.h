#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kelvora {

/// How a Mac takes fan speeds.
enum class FanScheme : std::uint8_t {
  kModeAndTarget,  ///< a mode key and a target key: models with a T2 chip, and later ones
  kMinimum,        ///< the fan's minimum speed can be raised, nothing else
};

/// One write of a fan's key, in the form that the privileged tool takes.
struct FanWrite {
  std::string key;    ///< e.g. "F0Tg"
  std::string value;  ///< lower-case hexadecimal, e.g. "0000fa44" for 2000 rpm

  friend bool operator==(const FanWrite&, const FanWrite&) = default;
};

/// The writes that set a fan to `speed` revolutions per minute, in their order; empty for a fan
/// above 19. Any thread.
///
/// With mode and target: the mode ("00" hands the fan back to the system, "01" takes it), then the
/// target as the bytes of a float, least significant first; also when the fan is handed back.
/// With a minimum: the minimum as an unsigned number with two fractional bits, modulo 2^32;
/// `autoMode` makes no difference.
std::vector<FanWrite> fanWrites(FanScheme scheme, std::uint64_t speed, std::uint64_t fan,
                                bool autoMode);

/// The one write that gives a fan, 0 to 19, back to the system: its mode, or the minimum that it
/// had before it was raised, e.g. 1200.25, to a quarter of a revolution. Any thread.
FanWrite handBackWrite(FanScheme scheme, double minimum, std::uint64_t fan);

}  // namespace kelvora
