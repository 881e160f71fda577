#pragma once

#include <cstdint>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The wear of the battery; all 0 on a Mac without one.
struct KELVORA_EXPORT ZDBatteryInfo {
  std::int64_t cycleCount = 0;
  std::int64_t maxCapacity = 0;       ///< full charge today, in milliampere-hours
  std::int64_t designedCapacity = 0;  ///< full charge when new, in milliampere-hours

  /// The maximum capacity in percent of the designed one, cut to a whole number from 0 to 100:
  /// 4500 of 5000 gives 90; 0 without a designed capacity.
  std::int64_t health() const;
};

}  // namespace kelvora
