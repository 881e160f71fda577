#pragma once

#include <cstdint>
#include <string>

#include "fans/LeaseRecord.h"

namespace kelvora {

class SensorController;

/// A fan that can be taken, as it is before that: on a machine without modes a taken fan has
/// another minimum.
struct FanToTake {
  LeasedFan leased;
  double minimum = 0;  ///< revolutions per minute
  double maximum = 0;
};

/// Reads a fan of the controller's machine. Empty, and `result` is the fan; else why it cannot be
/// taken, e.g. "its limits cannot be read". The controller's thread.
std::string readFanToTake(SensorController& controller, std::uint64_t fan, FanToTake& result);

/// Empty for a speed within the fan's limits, else e.g. "100 is not within its limits, 2160 to
/// 5927".
std::string faultOfSpeed(const FanToTake& fan, std::uint64_t speed);

/// How the machine's fans are set. The controller's thread.
FanScheme fanSchemeOf(SensorController& controller);

}  // namespace kelvora
