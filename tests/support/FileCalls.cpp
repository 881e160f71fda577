#include "tests/support/FileCalls.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

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

struct StoringCall {
  std::uint64_t number;
  const char* name;
};

constexpr StoringCall kStoringCalls[] = {
#ifdef SYS_rename
    {SYS_rename, "rename"},
#endif
    {SYS_fsync, "fsync"},      {SYS_fdatasync, "fsync"},
    {SYS_renameat2, "rename"}, {SYS_renameat, "rename"},
};

// The number of the call at which the child stopped; none when it returns from one.
std::optional<std::uint64_t> callOf(pid_t child) {
  __ptrace_syscall_info information = {};
  const long size = ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof information, &information);
  return size > 0 && information.op == PTRACE_SYSCALL_INFO_ENTRY
             ? std::optional(information.entry.nr)
             : std::nullopt;
}

// The signal that stopped the child; SIGTRAP with 0x80 for a system call. 0 when it has ended.
int nextStop(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
}

// Lets a child that has stopped itself run until it does so again. `atCall` gets the number of each
// call that it makes. False when it fails.
bool followUntilStopped(pid_t child, const std::function<void(std::uint64_t)>& atCall) {
  constexpr int kSystemCall = SIGTRAP | 0x80;
  while (true) {
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    const int stop = nextStop(child);
    if (stop != kSystemCall) {
      return stop == SIGSTOP;
    }
    if (const auto call = callOf(child)) {
      atCall(*call);
    }
  }
}

void followCalls(const std::function<void()>& preparation, const std::function<void()>& work,
                 const std::function<void(std::uint64_t)>& atCall) {
  const pid_t child = fork();
  if (child == 0) {
    runTraced(preparation, work);
  }
  const bool isTraced = child > 0 && nextStop(child) == SIGSTOP &&
                        ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD) == 0 &&
                        followUntilStopped(child, atCall);
  if (child > 0) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  if (!isTraced) {
    throw std::runtime_error("a process could not be traced");
  }
}

std::vector<std::uint64_t> callsOf(const std::function<void()>& preparation,
                                   const std::function<void()>& work) {
  std::vector<std::uint64_t> calls;
  followCalls(preparation, work, [&](std::uint64_t call) { calls.push_back(call); });
  return calls;
}

}  // namespace

int fileCallsOf(const std::function<void()>& preparation, const std::function<void()>& work) {
  const auto calls = callsOf(preparation, work);
  return static_cast<int>(std::ranges::count_if(calls, [](std::uint64_t call) {
    return std::ranges::find(kFileCalls, call) != std::end(kFileCalls);
  }));
}

std::vector<std::string> storingCallsOf(const std::function<void()>& work) {
  std::vector<std::string> names;
  for (const std::uint64_t call : callsOf([] {}, work)) {
    const auto* const found = std::ranges::find(kStoringCalls, call, &StoringCall::number);
    if (found != std::end(kStoringCalls)) {
      names.emplace_back(found->name);
    }
  }
  return names;
}

void interruptAtFcntl(const std::function<void(int)>& meanwhile,
                      const std::function<void()>& work) {
  int calls = 0;
  followCalls([] {}, work,
              [&](std::uint64_t call) {
                if (call == SYS_fcntl) {
                  meanwhile(++calls);
                }
              });
}

}  // namespace kelvora::testing
