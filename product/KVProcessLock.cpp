#include "KelvoraCore/KVProcessLock.h"

#include <system_error>

#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

KVProcessLock::KVProcessLock(const std::string& name, Platform& platform,
                             std::chrono::milliseconds longestWait) {
  const auto folder = KVUtils::groupContainerPath(platform);
  if (!folder) {
    const auto location = KVUtils::groupContainerLocation(platform);
    fault_ = location ? *location + " cannot be created" : "the programs have no folder in common";
    return;
  }
  std::error_code error;
  lock_ = platform.files().lock(*folder + "/" + name + ".lock", longestWait, error);
  if (lock_ != nullptr) {
    state_ = State::kHeld;
  } else if (error == std::errc::timed_out) {
    state_ = State::kHeldElsewhere;
  } else {
    fault_ = error.message();
  }
}

KVProcessLock::~KVProcessLock() = default;

int KVProcessLock::descriptor() const { return lock_ == nullptr ? -1 : lock_->descriptor(); }

}  // namespace kelvora
