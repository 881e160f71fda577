#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kelvora {

/// Cut toward zero: 45.6 gives 45. Out of range gives the nearest number, not-a-number 0.
inline std::int32_t truncated(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return std::isnan(value)
             ? 0
             : static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

}  // namespace kelvora
