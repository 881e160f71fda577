#pragma once

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "tests/support/ChildProgram.h"

namespace kelvora::testing {

/// From now on this process and its children have mounts of their own: no other process sees what
/// they mount. False if that is not allowed, as without the rights of root.
inline bool haveOwnMounts() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// A file system that behaves like the folder of the kernel's applesmc driver, for this process and
/// its children (tests/support/applesmc_fs.py). The test fails or is skipped if `failure` has a
/// reason.
class MountedDriver {
 public:
  /// `machine` is the name of a recorded Mac, `folder` exists and is empty. After `haveOwnMounts`.
  MountedDriver(const std::string& machine, std::string folder)
      : folder_(std::move(folder)),
        program_("/usr/bin/python3",
                 std::vector<std::string>{KELVORA_TEST_DATA "/support/applesmc_fs.py",
                                          std::string(KELVORA_MACHINES "/") + machine + ".json",
                                          folder_}),
        isMounted_(program_.nextLine() == "mounted") {}
  ~MountedDriver() { umount2(folder_.c_str(), MNT_DETACH); }
  MountedDriver(const MountedDriver&) = delete;
  MountedDriver& operator=(const MountedDriver&) = delete;

  bool isMounted() const { return isMounted_; }
  /// Why it is not mounted.
  std::string failure() { return program_.restOfError(); }
  const std::string& folder() const { return folder_; }
  /// Makes each write of a file fail from now on, e.g. ("fan1_output", "EIO"); ends that without an
  /// error.
  void refuse(const std::string& file, const std::string& error) const {
    std::ofstream(folder_ + "/refusals") << file + " " + error;
  }
  /// Each opening for writing and each write of a fan's file so far, as a line of JSON.
  std::string events() const {
    std::ifstream file(folder_ + "/events", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::string folder_;
  ChildProgram program_;
  bool isMounted_ = false;
};

}  // namespace kelvora::testing
