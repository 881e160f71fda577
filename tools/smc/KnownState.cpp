#include "tools/smc/KnownState.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "platforms/shared/TrustedEnvironment.h"
#include "tools/smc/System.h"

namespace kelvora::tool {

namespace {

// What a terminal sends to a whole group of processes does not stop the tool in the middle of a
// write, a reader of its messages that is gone does not end it, and neither does a limit that was
// lowered. SIGTERM and SIGKILL end it.
constexpr int kIgnored[] = {SIGINT, SIGQUIT, SIGHUP, SIGTSTP, SIGTTIN, SIGTTOU, SIGPIPE, SIGXFSZ};

struct Limit {
  int resource;
  rlim_t amount;
};

// No picture of the memory is written; the others are more than the tool uses.
constexpr Limit kLimits[] = {{RLIMIT_CORE, 0},
                             {RLIMIT_NOFILE, 256},
                             {RLIMIT_FSIZE, RLIM_INFINITY},
                             {RLIMIT_CPU, RLIM_INFINITY}};

// What leads to the account's folder, where the Mac is that it has chosen.
constexpr std::array<std::string_view, 2> kKept = {"HOME=", "XDG_DATA_HOME="};

// With raised rights nothing is kept: it comes from who has fewer.
bool isKept(std::string_view variable) {
  return !platform::hasRaisedRights() && std::ranges::any_of(kKept, [&](std::string_view start) {
    return variable.starts_with(start);
  });
}

void reduceEnvironment() {
  char** kept = environment();
  for (char** variable = environment(); *variable != nullptr; ++variable) {
    if (isKept(*variable)) {
      *kept++ = *variable;
    }
  }
  *kept = nullptr;
}

void setSignals() {
  for (int number = 1; number < NSIG; ++number) {
    // A signal that waits to be unblocked is forgotten once it is ignored. Those that cannot be set
    // have their default.
    std::signal(number, SIG_IGN);
    std::signal(number, SIG_DFL);
  }
  for (const int number : kIgnored) {
    std::signal(number, SIG_IGN);
  }
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_UNBLOCK, &all, nullptr);
}

void stopTimers() {
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
  setitimer(ITIMER_VIRTUAL, &never, nullptr);
  setitimer(ITIMER_PROF, &never, nullptr);
}

// Without rights a limit cannot be raised above its ceiling: then up to it.
void setLimits() {
  for (const auto& [resource, amount] : kLimits) {
    rlimit limit{amount, amount};
    setrlimit(resource, &limit);
    getrlimit(resource, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(resource, &limit);
  }
}

// The system gives the lowest number that is free. None is opened above these: whoever started the
// tool may have more open than its limit allows.
bool openStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", O_RDWR) < 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool enterKnownState() {
  reduceEnvironment();
  stopTimers();  // before their signals are unblocked
  setSignals();
  setLimits();
  umask(077);
  return openStandardDescriptors() && closeDescriptorsFrom(STDERR_FILENO + 1) && chdir("/") == 0;
}

}  // namespace kelvora::tool
