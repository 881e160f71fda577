#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

namespace kelvora::platform {

/// The timeout of a `poll` that ends at `deadline`, in milliseconds: rounded up, so that the wait
/// never ends early and spins; 0 when the deadline has passed; at most what `poll` takes (24 days).
inline int pollTimeoutMs(std::chrono::steady_clock::time_point deadline) {
  const auto now = std::chrono::steady_clock::now();
  if (deadline <= now) {
    return 0;
  }
  // Of the far future, only as much as never overflows when it is rounded up.
  const auto wait = std::min<std::chrono::steady_clock::duration>(
      deadline - now, std::chrono::milliseconds(std::numeric_limits<int>::max()));
  return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(wait).count());
}

}  // namespace kelvora::platform
