#pragma once

#include <cstdint>

#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// Whether values of this category type are shown as a percentage: fans, if the user wants it.
inline bool isShownAsPercentage(std::uint32_t categoryType, KVSettings& settings) {
  constexpr std::int64_t kPercentage = 1;
  return categoryType == SensorTypeFan && settings.fanValueType() == kPercentage;
}

}  // namespace kelvora
