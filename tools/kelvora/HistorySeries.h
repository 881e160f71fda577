#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace kelvora::tool {

/// One series of every sensor's history.
struct HistorySeries {
  std::int16_t timeRange;  ///< of its points: 0 hour, 1 day, 2 week
  double stepSeconds;      ///< keeps the first sample of each such time; 0 keeps every sample
  double keptSeconds;      ///< how old its points get

  /// When the step began that `seconds` (since 1970) is in.
  double stepBegin(double seconds) const {
    return stepSeconds > 0 ? std::floor(seconds / stepSeconds) * stepSeconds : seconds;
  }
};

inline constexpr std::array<HistorySeries, 3> kHistorySeries{{
    {0, 0, 3600},
    {1, 60, 86400},
    {2, 600, 604800},
}};

}  // namespace kelvora::tool
