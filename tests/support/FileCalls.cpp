#include "tests/support/FileCalls.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <iterator>
#include <stdexcept>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kelvora::testing {

namespace {

// Those that an architecture lacks are the newer ones' older forms.
constexpr std::uint64_t kFileCalls[] = {
#ifdef SYS_open
    SYS_open,       SYS_stat,       SYS_lstat, SYS_access,  SYS_readlink, SYS_getdents,
#endif
#ifdef SYS_faccessat2
    SYS_faccessat2,
#endif
    SYS_openat,     SYS_newfstatat, SYS_fstat, SYS_statx,   SYS_statfs,   SYS_faccessat,
    SYS_readlinkat, SYS_getdents64, SYS_read,  SYS_pread64, SYS_lseek,
};

// The second stop signal ends the count.
[[noreturn]] void runTraced(const std::function<void()>& preparation,
                            const std::function<void()>& work) {
  preparation();
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
    std::_Exit(1);
  }
  raise(SIGSTOP);
  work();
  raise(SIGSTOP);
  std::_Exit(0);
}

bool isFileCall(pid_t child) {
  __ptrace_syscall_info information = {};
  const long size = ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof information, &information);
  return size > 0 && information.op == PTRACE_SYSCALL_INFO_ENTRY &&
         std::ranges::find(kFileCalls, information.entry.nr) != std::end(kFileCalls);
}

// The signal that stopped the child; SIGTRAP with 0x80 for a system call. 0 when it has ended.
int nextStop(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
}

int countUntilStopped(pid_t child) {
  constexpr int kSystemCall = SIGTRAP | 0x80;
  int count = 0;
  while (true) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    const int stop = nextStop(child);
    if (stop != kSystemCall) {
      return stop == SIGSTOP ? count : -1;
    }
    count += isFileCall(child) ? 1 : 0;
  }
}

}  // namespace

int fileCallsOf(const std::function<void()>& preparation, const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    runTraced(preparation, work);
  }
  const bool isTraced = child > 0 && nextStop(child) == SIGSTOP &&
                        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD) == 0;
  const int count = isTraced ? countUntilStopped(child) : -1;
  if (child > 0) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  if (count < 0) {
    throw std::runtime_error("a process could not be traced");
  }
  return count;
}

}  // namespace kelvora::testing
