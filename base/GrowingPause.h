#pragma once

#include <algorithm>
#include <chrono>

namespace kelvora {

/// The pauses between tries of something that may not come back for long: each twice the one
/// before, up to a limit.
class GrowingPause {
 public:
  explicit GrowingPause(std::chrono::milliseconds first) : first_(first), next_(first) {}

  std::chrono::milliseconds next(std::chrono::milliseconds longest) {
    const std::chrono::milliseconds pause = std::min(next_, longest);
    next_ = 2 * pause;
    return pause;
  }
  /// After a try that succeeded, or where another kind of try begins.
  void restart() { next_ = first_; }

 private:
  std::chrono::milliseconds first_;
  std::chrono::milliseconds next_;
};

}  // namespace kelvora
