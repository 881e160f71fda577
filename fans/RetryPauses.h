#pragma once

#include <algorithm>
#include <chrono>

namespace kelvora {

/// The pauses of a guardian between its tries to hand fans back: each twice the one before, up to a
/// second. While the tool is not installed, up to a minute: it may never come back.
class RetryPauses {
 public:
  std::chrono::milliseconds next(bool isToolInstalled) {
    using std::chrono::milliseconds;
    const milliseconds pause = std::min(next_, milliseconds(isToolInstalled ? 1000 : 60'000));
    next_ = 2 * pause;
    return pause;
  }
  void restart() { next_ = kFirst; }

 private:
  static constexpr std::chrono::milliseconds kFirst{10};
  std::chrono::milliseconds next_ = kFirst;
};

}  // namespace kelvora
