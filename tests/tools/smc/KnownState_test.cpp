#include "tools/smc/KnownState.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/support/AnsweredCalls.h"
#include "tests/support/ChildWork.h"

namespace kelvora::testing {
namespace {

constexpr int kRefused = 100;

// What `check` returns in a process that was prepared and then brought into the known state.
int inKnownState(const std::function<void()>& prepare, const std::function<int()>& check) {
  ChildWork child([&] {
    prepare();
    return tool::enterKnownState() ? check() : kRefused;
  });
  return child.wait();
}

TEST(KnownState, OfTheEnvironmentOnlyWhatLeadsToTheAccountsFolderIsKept) {
  const std::vector<std::vector<std::string>> environments = {
      {},
      {"HOME=/home/a"},
      {"XDG_DATA_HOME=/data"},
      {"HOME=/home/a", "XDG_DATA_HOME=/data"},
      {"XDG_DATA_HOME=/data", "HOME=/home/a"}};
  for (const auto& kept : environments) {
    EXPECT_EQ(inKnownState(
                  [&] {
                    clearenv();
                    setenv("HOMES", "/homes", 1);
                    for (const std::string& variable : kept) {
                      putenv(const_cast<char*>(variable.c_str()));
                      setenv(("after" + variable.substr(0, 4)).c_str(), "x", 1);
                    }
                    setenv("XDG_DATA_HOMES", "/data", 1);
                  },
                  [&] {
                    std::vector<std::string> left;
                    for (char** variable = environ; *variable != nullptr; ++variable) {
                      left.emplace_back(*variable);
                    }
                    return left == kept ? 0 : 1;
                  }),
              0)
        << ::testing::PrintToString(kept);
  }
}

TEST(KnownState, AllTimersAreStopped) {
  constexpr std::array kTimers = {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF};
  EXPECT_EQ(inKnownState(
                [&] {
                  const itimerval inAnHour{{3600, 0}, {3600, 0}};
                  for (const auto timer : kTimers) {
                    setitimer(timer, &inAnHour, nullptr);
                  }
                },
                [&] {
                  int running = 0;
                  for (const auto timer : kTimers) {
                    itimerval left{};
                    getitimer(timer, &left);
                    running += left.it_value.tv_sec + left.it_value.tv_usec != 0 ? 1 : 0;
                  }
                  return running;
                }),
            0);
}

TEST(KnownState, NoSignalIsPendingBlockedOrHandled) {
  EXPECT_EQ(inKnownState(
                [] {
                  sigset_t all;
                  sigfillset(&all);
                  sigprocmask(SIG_SETMASK, &all, nullptr);
                  std::signal(SIGTERM, [](int) { std::_Exit(1); });
                  for (const int number : {SIGHUP, SIGTERM, SIGUSR1, SIGALRM, SIGRTMIN, SIGRTMAX}) {
                    raise(number);
                  }
                  std::signal(SIGCHLD, SIG_IGN);
                },
                [] {
                  sigset_t blocked;
                  sigprocmask(SIG_SETMASK, nullptr, &blocked);
                  int count = 0;
                  for (int number = 1; number <= SIGRTMAX; ++number) {
                    count += sigismember(&blocked, number) == 1 ? 1 : 0;
                  }
                  struct sigaction action = {};
                  for (const int number : {SIGTERM, SIGCHLD}) {
                    sigaction(number, nullptr, &action);
                    count += action.sa_handler == SIG_DFL ? 0 : 1;
                  }
                  return count;
                }),
            0);
}

// Whether a limit is this, with a ceiling of the same.
bool isLimit(__rlimit_resource resource, rlim_t amount) {
  rlimit limit{};
  getrlimit(resource, &limit);
  return limit.rlim_cur == amount && limit.rlim_max == amount;
}

void lower(__rlimit_resource resource, rlim_t amount, rlim_t ceiling) {
  const rlimit limit{amount, ceiling};
  setrlimit(resource, &limit);
}

TEST(KnownState, LimitsAreTheToolsOwn) {
  EXPECT_EQ(inKnownState(
                [] {
                  lower(RLIMIT_CORE, 1 << 20, 1 << 20);
                  lower(RLIMIT_NOFILE, 20, 1000);
                  lower(RLIMIT_FSIZE, 0, RLIM_INFINITY);
                  lower(RLIMIT_CPU, 1, RLIM_INFINITY);
                },
                [] {
                  return isLimit(RLIMIT_CORE, 0) && isLimit(RLIMIT_NOFILE, 256) &&
                                 isLimit(RLIMIT_FSIZE, RLIM_INFINITY) &&
                                 isLimit(RLIMIT_CPU, RLIM_INFINITY)
                             ? 0
                             : 1;
                }),
            0);
}

TEST(KnownState, WithoutRightsALimitGoesUpToItsCeiling) {
  EXPECT_EQ(inKnownState(
                [] {
                  lower(RLIMIT_NOFILE, 20, 64);
                  lower(RLIMIT_CPU, 30, 60);
                  if (geteuid() == 0 && setuid(65534) != 0) {
                    std::_Exit(kRefused + 1);
                  }
                },
                [] { return isLimit(RLIMIT_NOFILE, 64) && isLimit(RLIMIT_CPU, 60) ? 0 : 1; }),
            0);
}

TEST(KnownState, FilesAreTheOwnersAndNamesAreFromTheRoot) {
  EXPECT_EQ(inKnownState(
                [] {
                  umask(0);
                  if (chdir("/tmp") != 0) {
                    std::_Exit(kRefused + 1);
                  }
                },
                [] {
                  char folder[64] = "";
                  return umask(0) == 077 && getcwd(folder, sizeof folder) == std::string("/") ? 0
                                                                                              : 1;
                }),
            0);
}

// Each of the standard descriptors, open or not, and others.
TEST(KnownState, OnlyTheStandardDescriptorsAreOpen) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    EXPECT_EQ(inKnownState(
                  [closed] {
                    for (int i = 0; i < 300; ++i) {
                      dup(STDERR_FILENO);
                    }
                    for (int number = 0; number < 3; ++number) {
                      if ((closed >> number & 1) != 0) {
                        close(number);
                      }
                    }
                  },
                  [] {
                    int wrong = 0;
                    for (int number = 0; number < 400; ++number) {
                      const bool isOpen = fcntl(number, F_GETFD) >= 0;
                      wrong += isOpen == (number < 3) ? 0 : 1;
                    }
                    return wrong;
                  }),
              0)
        << closed;
  }
}

TEST(KnownState, IsRefusedWhenTheSystemRefusesAPartOfIt) {
  const auto check = [] { return 0; };
  EXPECT_EQ(inKnownState([] { answerCalls(SYS_close_range, ENOSYS); }, check), kRefused);
  EXPECT_EQ(inKnownState([] { answerCalls(SYS_chdir, EACCES); }, check), kRefused);
  const auto refuseOpening = [] { answerCalls(SYS_openat, EMFILE); };
  EXPECT_EQ(inKnownState(refuseOpening, check), 0) << "nothing has to be opened";
  for (const int closed : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    EXPECT_EQ(inKnownState(
                  [&] {
                    close(closed);
                    refuseOpening();
                  },
                  check),
              kRefused)
        << closed;
  }
}

}  // namespace
}  // namespace kelvora::testing
