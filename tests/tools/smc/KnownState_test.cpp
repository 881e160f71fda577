#include "tools/smc/KnownState.h"

#include <cstdlib>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"

namespace kelvora::testing {
namespace {

std::set<std::string> environmentNow() {
  std::set<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    variables.insert(*variable);
  }
  return variables;
}

TEST(KnownState, OfTheEnvironmentOnlyWhatLeadsToTheAccountsFolderStays) {
  ChildWork child([] {
    clearenv();
    for (const char* variable : {"PATH=/tmp", "HOME=/home/anna", "KELVORA_MACHINE=x", "HOMER=1",
                                 "XDG_DATA_HOME=/data", "XDG_DATA_HOMES=2", "LC_ALL=de_DE"}) {
      putenv(const_cast<char*>(variable));
    }
    return tool::enterKnownState() &&
                   environmentNow() ==
                       std::set<std::string>{"HOME=/home/anna", "XDG_DATA_HOME=/data"}
               ? 0
               : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST(KnownState, WithoutAnEnvironmentThereIsNoneAfterwards) {
  ChildWork child([] {
    environ = nullptr;
    return tool::enterKnownState() && environ != nullptr && *environ == nullptr ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST(KnownState, EveryTimerIsStopped) {
  ChildWork child([] {
    const itimerval later{{1000, 0}, {1000, 0}};
    for (const auto which : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
      setitimer(which, &later, nullptr);
    }
    if (!tool::enterKnownState()) {
      return 1;
    }
    for (const auto which : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
      itimerval left{};
      getitimer(which, &left);
      if (left.it_value.tv_sec != 0 || left.it_value.tv_usec != 0) {
        return 2;
      }
    }
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

// Nobody may raise a ceiling; the soft limit goes up to it.
TEST(KnownState, ALimitIsRaisedAsFarAsItsCeiling) {
  ChildWork child([] {
    const rlimit low{100, 5000};
    if (geteuid() == 0 && setuid(65534) != 0) {
      return 1;
    }
    setrlimit(RLIMIT_FSIZE, &low);
    rlimit now{};
    return tool::enterKnownState() && getrlimit(RLIMIT_FSIZE, &now) == 0 && now.rlim_cur == 5000
               ? 0
               : 2;
  });
  EXPECT_EQ(child.wait(), 0);
}

}  // namespace
}  // namespace kelvora::testing
