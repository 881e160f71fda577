#include "platforms/linux/processes/DetachedLaunch.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/OwnSession.h"

namespace kelvora::platform {

namespace {

// Between fork and exec only calls that are safe in a signal handler: another thread may have held
// any lock at the fork.
void resetSignals() {
  struct sigaction defaults = {};
  defaults.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) {
    sigaction(number, &defaults, nullptr);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

void standOnItsOwn() {
  leaveSession();
  close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

void reportError(int report, int error) {
  const ssize_t ignored = write(report, &error, sizeof error);
  static_cast<void>(ignored);
}

// In the first child: the program becomes a child of this short-lived one, and is then adopted by
// the system.
[[noreturn]] void runInGrandchild(const char* path, int report) {
  resetSignals();
  const pid_t program = fork();
  if (program == 0) {
    standOnItsOwn();
    std::array<char*, 2> arguments{const_cast<char*>(path), nullptr};
    execv(path, arguments.data());
    reportError(report, errno);
  } else if (program < 0) {
    reportError(report, errno);
  }
  _exit(0);
}

// The error that comes through the pipe; 0 when the program's start closes it.
int reportedError(int report) {
  int error = 0;
  ssize_t count = -1;
  do {
    count = read(report, &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  return count == sizeof error ? error : 0;
}

}  // namespace

int launchDetached(const std::string& executablePath) {
  std::array<int, 2> ends = {};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return errno;
  }
  FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const pid_t first = fork();
  if (first == 0) {
    runInGrandchild(executablePath.c_str(), writing.get());
  }
  if (first < 0) {
    return errno;
  }
  writing.close();
  while (waitpid(first, nullptr, 0) < 0 && errno == EINTR) {
  }
  return reportedError(reading.get());
}

}  // namespace kelvora::platform
