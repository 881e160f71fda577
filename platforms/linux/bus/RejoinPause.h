#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

namespace kelvora::platform {

/// How long to wait before the next try to join a bus that is gone: twice as long as before the
/// last one, so that a session without a bus costs next to nothing.
class RejoinPause {
 public:
  static constexpr std::chrono::milliseconds kFirst{100};
  static constexpr std::chrono::milliseconds kLongest{10'000};

  /// The pause before the next try.
  std::chrono::milliseconds next() { return std::exchange(pause_, std::min(pause_ * 2, kLongest)); }
  /// A try has succeeded: the next bus that goes is looked for at once again.
  void reset() { pause_ = kFirst; }

 private:
  std::chrono::milliseconds pause_ = kFirst;
};

}  // namespace kelvora::platform
