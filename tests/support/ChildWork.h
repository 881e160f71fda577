#pragma once

#include <csignal>
#include <cstdlib>
#include <functional>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace kelvora::testing {

/// A second process that runs `work` and exits with the status it returns; for tests of what
/// several programs do together. Start it before the test has threads of its own. Killed and reaped
/// at the end if it still runs.
class ChildWork {
 public:
  explicit ChildWork(const std::function<int()>& work) : pid_(fork()) {
    if (pid_ < 0) {
      throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
      int status = 125;
      try {
        status = work();
      } catch (...) {
        status = 126;
      }
      std::_Exit(status);
    }
  }
  ~ChildWork() {
    if (pid_ > 0) {
      kill();
      wait();
    }
  }
  ChildWork(ChildWork&& other) noexcept : pid_(other.pid_) { other.pid_ = -1; }
  ChildWork& operator=(ChildWork&&) = delete;
  ChildWork(const ChildWork&) = delete;
  ChildWork& operator=(const ChildWork&) = delete;

  pid_t pid() const { return pid_; }
  void kill() const { ::kill(pid_, SIGKILL); }

  /// The exit status, or 128 plus the signal that ended the process.
  int wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_;
};

}  // namespace kelvora::testing
