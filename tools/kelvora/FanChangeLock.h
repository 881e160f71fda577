#pragma once

#include <chrono>
#include <memory>

#include "KelvoraCore/KVProcessLock.h"

namespace kelvora::tool {

/// What commands change one after the other.
enum class FanLockKind {
  kSpeeds,  ///< the processes that hold fans
  kSets,    ///< the list of fan sets
};

/// Lets one command of the account at a time change the fans: what one reads, no other changes
/// before it is done. Ends with the object.
class FanChangeLock {
 public:
  /// Waits for another command. Throws CommandError when that does not end in time, or the lock
  /// cannot be taken.
  explicit FanChangeLock(Platform& platform,
                         std::chrono::milliseconds longestWait = std::chrono::minutes(1),
                         FanLockKind what = FanLockKind::kSpeeds);

 private:
  std::unique_ptr<KVProcessLock> lock_;
};

}  // namespace kelvora::tool
