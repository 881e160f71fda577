#include "fans/FanToTake.h"

#include <algorithm>

#include "KelvoraCore/SensorController.h"

#include "hardware/FanKeys.h"
#include "hardware/KeyReading.h"

namespace kelvora {

std::string readFanToTake(SensorController& controller, std::uint64_t fan, FanToTake& result) {
  const auto index = static_cast<std::int64_t>(std::min<std::uint64_t>(fan, INT64_MAX));
  if (index >= std::min(controller.smc().numberOfFans(), kNameableFans)) {
    return "the machine has no such fan";
  }
  const double minimum = controller.smc().safeMinimumSpeedOfFan(index);
  const double maximum = controller.smc().safeMaximumSpeedOfFan(index);
  if (!(minimum >= 0) || !(maximum > 0) || minimum > maximum) {
    return "its limits cannot be read";
  }
  result = {{fan, handBackWrite(fanSchemeOf(controller), minimum, fan)}, minimum, maximum};
  return isReadable(controller.platform(), result.leased.handBack.key) ? ""
                                                                       : "its mode cannot be read";
}

std::string faultOfSpeed(const FanToTake& fan, std::uint64_t speed) {
  const auto wanted = static_cast<double>(speed);
  if (wanted >= fan.minimum && wanted <= fan.maximum) {
    return "";
  }
  return std::to_string(speed) + " is not within its limits, " +
         std::to_string(static_cast<std::int64_t>(fan.minimum)) + " to " +
         std::to_string(static_cast<std::int64_t>(fan.maximum));
}

FanScheme fanSchemeOf(SensorController& controller) {
  return controller.hasFanModes() ? FanScheme::kModeAndTarget : FanScheme::kMinimum;
}

}  // namespace kelvora
