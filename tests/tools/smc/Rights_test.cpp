#include "tools/smc/Rights.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"

namespace kelvora::testing {
namespace {

constexpr uid_t kUser = 65534;
constexpr gid_t kGroup = 65533;
constexpr gid_t kOther = 65532;

// What a process that has these ids exits with when it has dropped its rights: 0 if all are the
// real ones and stay so.
int dropped(uid_t user, uid_t effectiveUser, uid_t savedUser, gid_t group, gid_t effectiveGroup,
            gid_t savedGroup) {
  ChildWork work([&] {
    const gid_t groups[] = {kOther, effectiveGroup};
    if (setgroups(2, groups) != 0 || setresgid(group, effectiveGroup, savedGroup) != 0 ||
        setresuid(user, effectiveUser, savedUser) != 0) {
      return 10;
    }
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

TEST(Rights, RootThatStartedTheProgramHasNothingToDrop) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "this needs root";
  }
  ChildWork work([] { return tool::dropRights() && geteuid() == 0 ? 0 : 1; });
  EXPECT_EQ(work.wait(), 0);
}

TEST(Rights, AUserWithoutMoreRightsKeepsHisOwn) {
  const uid_t user = geteuid();
  EXPECT_TRUE(tool::dropRights());
  EXPECT_EQ(geteuid(), user);
}

}  // namespace
}  // namespace kelvora::testing
