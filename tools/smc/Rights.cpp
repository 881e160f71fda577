#include "tools/smc/Rights.h"

#include <grp.h>
#include <unistd.h>

namespace kelvora::tool {

namespace {

constexpr auto kNoUser = static_cast<uid_t>(-1);
constexpr auto kNoGroup = static_cast<gid_t>(-1);

// The former user or group, if it was kept as the saved one, could be taken on again.
bool canReturnTo(uid_t formerUser, gid_t formerGroup) {
  return (formerUser != getuid() && setreuid(kNoUser, formerUser) == 0) ||
         (formerGroup != getgid() && setregid(kNoGroup, formerGroup) == 0);
}

}  // namespace

bool dropRights() {
  const uid_t user = getuid();
  const gid_t group = getgid();
  const uid_t formerUser = geteuid();
  const gid_t formerGroup = getegid();
  // Groups first: only root may change them. Setting the real ones sets the saved ones too.
  if (formerUser == 0 && setgroups(1, &group) != 0) {
    return false;
  }
  if (setregid(group, group) != 0 || setreuid(user, user) != 0) {
    return false;
  }
  if (geteuid() != user || getegid() != group) {
    return false;
  }
  return user == 0 || !canReturnTo(formerUser, formerGroup);
}

}  // namespace kelvora::tool
