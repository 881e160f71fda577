#pragma once

#include <limits>

namespace kelvora::testing {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace kelvora::testing
