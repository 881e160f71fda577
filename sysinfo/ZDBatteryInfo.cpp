#include "KelvoraCore/ZDBatteryInfo.h"

#include <algorithm>

namespace kelvora {

std::int64_t ZDBatteryInfo::health() const {
  if (designedCapacity == 0) {
    return 0;
  }
  const double percent =
      static_cast<double>(maxCapacity) * 100 / static_cast<double>(designedCapacity);
  return static_cast<std::int64_t>(std::clamp(percent, 0.0, 100.0));
}

}  // namespace kelvora
