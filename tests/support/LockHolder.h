#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include "platforms/posix/FileLock.h"
#include "tests/support/ChildWork.h"

namespace kelvora::testing {

/// How many hold a lock or wait for it, without the owner of `lock`, which is open on its file.
/// Looks at the first places of the queue only.
inline int othersAtLock(const platform::FileDescriptor& lock) {
  int others = 0;
  for (off_t place = 0; place < 100; ++place) {
    struct flock byte = {};
    byte.l_type = F_WRLCK;
    byte.l_start = place;
    byte.l_len = 1;
    others += fcntl(lock.get(), F_OFD_GETLK, &byte) == 0 && byte.l_type != F_UNLCK ? 1 : 0;
  }
  return others;
}

/// A second process that holds the lock of a file, as a program does while it stores a setting. It
/// has the lock when the constructor returns. Start it before the test has threads of its own.
class LockHolder {
 public:
  enum class Until : std::uint8_t {
    kSomebodyWaits,  ///< it releases the lock as soon as another process waits for it
    kItsEnd,         ///< it never releases the lock; the process ends with the object
  };

  /// `lock` is the path of the lock, which is created if it is missing.
  LockHolder(const std::string& lock, Until until)
      : process_([this, &lock, until] { return hold(lock, until); }) {
    close(ends_[1]);
    char byte = 0;
    const bool isHeld = read(ends_[0], &byte, 1) == 1;
    close(ends_[0]);
    if (!isHeld) {
      throw std::runtime_error("the lock is not held");
    }
  }

 private:
  static std::array<int, 2> newPipe() {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    return ends;
  }

  int hold(const std::string& path, Until until) const {
    const platform::FileDescriptor lock = platform::lockFile(path, {});
    if (!lock.isOpen() || write(ends_[1], "", 1) != 1) {
      return 1;
    }
    if (until == Until::kItsEnd) {
      pause();
    }
    while (othersAtLock(lock) == 0) {
      sched_yield();
    }
    return 0;
  }

  std::array<int, 2> ends_ = newPipe();
  ChildWork process_;
};

}  // namespace kelvora::testing
