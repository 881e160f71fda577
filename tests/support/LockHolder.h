#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"

namespace kelvora::testing {

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

  int hold(const std::string& lock, Until until) const {
    const int file = open(lock.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR);
    if (flock(file, LOCK_EX) != 0 || write(ends_[1], "", 1) != 1) {
      return 1;
    }
    if (until == Until::kItsEnd) {
      pause();
    }
    waitForAnother(std::filesystem::path(lock).parent_path());
    return 0;
  }

  // Who waits for the lock holds the lock of its folder.
  static void waitForAnother(const std::filesystem::path& folder) {
    const int queue = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    while (flock(queue, LOCK_EX | LOCK_NB) == 0) {
      flock(queue, LOCK_UN);
      sched_yield();
    }
  }

  std::array<int, 2> ends_ = newPipe();
  ChildWork process_;
};

}  // namespace kelvora::testing
