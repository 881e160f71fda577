#include "tools/kelvora/FanChangeLock.h"

#include "KelvoraCore/KVMainQueue.h"

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kName[] = "FanChange";
constexpr std::chrono::milliseconds kStep{10};

}  // namespace

FanChangeLock::FanChangeLock(Platform& platform, std::chrono::milliseconds longestWait)
    : lock_(std::make_unique<KVProcessLock>(kName, platform)) {
  const Clock::time_point deadline = Clock::now() + longestWait;
  while (lock_->state() == KVProcessLock::State::kHeldElsewhere && Clock::now() < deadline) {
    KVMainQueue::runUntil(Clock::now() + kStep);
    lock_ = std::make_unique<KVProcessLock>(kName, platform);
  }
  if (lock_->state() == KVProcessLock::State::kHeldElsewhere) {
    throw CommandError(kExitElsewhere, "another command is changing the fans");
  }
  if (lock_->state() == KVProcessLock::State::kFailed) {
    throw CommandError(kExitNothingRead, "the fans cannot be locked: " + lock_->fault());
  }
}

}  // namespace kelvora::tool
