#include "fans/FanToTake.h"

#include <algorithm>

#include "KelvoraCore/Platform.h"
#include "KelvoraCore/SensorController.h"

#include "hardware/FanKeys.h"
#include "hardware/KeyReading.h"

namespace kelvora {

namespace {

// Reading one key is quick, going through the list is not.
bool hasModeOfItsOwn(Platform& platform, const std::string& key) {
  return isReadable(platform, key) && isListed(platform, key);
}

// The privileged tool writes the minimum only of a fan that has no mode.
std::string faultOfMode(SensorController& controller, const LeasedFan& fan) {
  const bool hasModes = controller.hasFanModes();
  const auto index = static_cast<std::int64_t>(fan.fan);
  if (!isReadable(controller.platform(), fan.handBack.key)) {
    return std::string("cannot be set on this Mac: its ") + (hasModes ? "mode" : "minimum") +
           " cannot be read";
  }
  return !hasModes && hasModeOfItsOwn(controller.platform(), fanKey(index, "Md").value_or(""))
             ? "cannot be set on this Mac: it has a mode, so its minimum stays as it is"
             : "";
}

}  // namespace

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
  return faultOfMode(controller, result.leased);
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
