#include "tools/kelvora/FanChangeLock.h"

#include <string>

#include "KelvoraCore/KVMainQueue.h"

#include "tools/kelvora/Command.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLockPause{10};

struct Words {
  const char* lock;
  const char* what;
};

Words wordsOf(FanLockKind what) {
  return what == FanLockKind::kSpeeds ? Words{"FanChange", "the fans"}
                                      : Words{"FanSetChange", "the fan sets"};
}

}  // namespace

FanChangeLock::FanChangeLock(Platform& platform, std::chrono::milliseconds longestWait,
                             FanLockKind what)
    : lock_(std::make_unique<KVProcessLock>(wordsOf(what).lock, platform)) {
  const std::string object = wordsOf(what).what;
  const Clock::time_point deadline = Clock::now() + longestWait;
  while (lock_->state() == KVProcessLock::State::kHeldElsewhere && Clock::now() < deadline) {
    KVMainQueue::runUntil(Clock::now() + kLockPause);
    lock_ = std::make_unique<KVProcessLock>(wordsOf(what).lock, platform);
  }
  if (lock_->state() == KVProcessLock::State::kHeldElsewhere) {
    throw CommandError(kExitElsewhere, "another command is changing " + object);
  }
  if (lock_->state() == KVProcessLock::State::kFailed) {
    throw CommandError(kExitNothingRead, object + " cannot be locked: " + lock_->fault());
  }
}

}  // namespace kelvora::tool
