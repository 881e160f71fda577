#include "tools/smc/Rights.h"

#include <cerrno>
#include <functional>
#include <optional>

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/support/AnsweredCalls.h"
#include "tests/support/ChildWork.h"

namespace kelvora::testing {
namespace {

constexpr uid_t kUser = 65534;
constexpr gid_t kGroup = 65533;
constexpr gid_t kOther = 65532;

// What a process that has these ids exits with when it has dropped its rights: 0 if all are the
// real ones and stay so.
int dropped(
    uid_t user, uid_t effectiveUser, uid_t savedUser, gid_t group, gid_t effectiveGroup,
    gid_t savedGroup, const std::function<void()>& prepare = [] {}) {
  ChildWork work([&] {
    const gid_t groups[] = {kOther, effectiveGroup};
    if (setgroups(2, groups) != 0 || setresgid(group, effectiveGroup, savedGroup) != 0 ||
        setresuid(user, effectiveUser, savedUser) != 0) {
      return 10;
    }
    prepare();
    if (!tool::dropRights()) {
      return 11;
    }
    uid_t users[3];
    gid_t all[3];
    getresuid(&users[0], &users[1], &users[2]);
    getresgid(&all[0], &all[1], &all[2]);
    if (users[0] != user || users[1] != user || users[2] != user || all[0] != group ||
        all[1] != group || all[2] != group) {
      return 12;
    }
    gid_t left[8];
    if (effectiveUser == 0 && (getgroups(8, left) != 1 || left[0] != group)) {
      return 13;
    }
    return seteuid(0) == 0 || setuid(0) == 0 || setegid(0) == 0 ? 14 : 0;
  });
  return work.wait();
}

TEST(Rights, EffectiveAndSavedIdsAndOtherGroupsAreGone) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "taking on the ids of others needs root";
  }
  EXPECT_EQ(dropped(kUser, 0, 0, kGroup, 0, 0), 0);                // set-uid and set-gid
  EXPECT_EQ(dropped(kUser, 0, 0, kGroup, kGroup, kGroup), 0);      // set-uid
  EXPECT_EQ(dropped(kUser, kUser, 0, kGroup, kGroup, kGroup), 0);  // only saved
  EXPECT_EQ(dropped(kUser, kUser, kUser, kGroup, kOther, kOther), 0);
  EXPECT_EQ(dropped(kUser, kUser, kUser, kGroup, kGroup, kOther), 0);
  EXPECT_EQ(dropped(kUser, kUser, kUser, kGroup, kGroup, kGroup), 0);
}

// A kernel that refuses, that does nothing, or that gives back what was dropped.
TEST(Rights, ThatAreKeptAreNoticedWhateverTheCallsAnswer) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "taking on the ids of others needs root";
  }
  struct Row {
    unsigned call;
    unsigned error;
    std::optional<unsigned> argument;
  };
  constexpr auto kUnchanged = static_cast<unsigned>(-1);
  const Row rows[] = {{SYS_setgroups, EPERM, {}},   {SYS_setregid, EPERM, {}},
                      {SYS_setreuid, EPERM, {}},    {SYS_setregid, 0, kGroup},
                      {SYS_setreuid, 0, kUser},     {SYS_setregid, 0, kUnchanged},
                      {SYS_setreuid, 0, kUnchanged}};
  for (const Row& row : rows) {
    EXPECT_EQ(
        dropped(kUser, 0, 0, kGroup, 0, 0, [&] { answerCalls(row.call, row.error, row.argument); }),
        11)
        << row.call << " " << row.error;
  }
  // Root could take anything back: there only the ids themselves show it.
  const auto changesNoUser = [] { answerCalls(SYS_setreuid, 0); };
  EXPECT_EQ(dropped(0, kUser, kUser, kGroup, kGroup, kGroup, changesNoUser), 11);
  const auto changesNoGroup = [] { answerCalls(SYS_setregid, 0); };
  EXPECT_EQ(dropped(0, 0, 0, kGroup, kOther, kOther, changesNoGroup), 11);
}

TEST(Rights, RootThatStartedTheProgramHasNothingToDrop) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "this needs root";
  }
  for (const gid_t effectiveGroup : {getgid(), kOther}) {
    ChildWork work([&] {
      return setegid(effectiveGroup) == 0 && tool::dropRights() && geteuid() == 0 &&
                     getegid() == getgid()
                 ? 0
                 : 1;
    });
    EXPECT_EQ(work.wait(), 0) << effectiveGroup;
  }
}

TEST(Rights, AUserWithoutMoreRightsKeepsHisOwn) {
  const uid_t user = geteuid();
  EXPECT_TRUE(tool::dropRights());
  EXPECT_EQ(geteuid(), user);
}

}  // namespace
}  // namespace kelvora::testing
