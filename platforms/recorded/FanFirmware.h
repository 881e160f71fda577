#pragma once

#include <optional>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::platform {

/// What the keys of one fan hold, in revolutions per minute; none for a key that the machine lacks
/// or that holds no speed.
struct FanControls {
  bool isManual = false;  ///< the mode key holds 1
  std::optional<float> target;
  std::optional<float> minimum;
  std::optional<float> maximum;
};

/// The speed that a Mac's firmware gives a fan. In manual mode that is the target, within minimum
/// and maximum. Otherwise it is the speed that the firmware chose, `recorded`, raised to the
/// minimum.
float actualFanSpeed(float recorded, const FanControls& controls);

/// The speed in a key of type "flt " or "fpe2"; none for another type or size, and for a number
/// that is not finite.
std::optional<float> fanSpeedIn(const RecordedSMCKey& key);

/// Puts a speed into a key whose type holds speeds; the nearest one that "fpe2" can hold.
void setFanSpeed(RecordedSMCKey& key, float speed);

}  // namespace kelvora::platform
