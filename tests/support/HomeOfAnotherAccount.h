#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/ChildWork.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {

/// What root does with the home folder of user 65534, and that user afterwards.
class HomeOfAnotherAccount : public ::testing::Test {
 protected:
  static constexpr uid_t kUser = 65534;

  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can act for another account";
    }
    ASSERT_EQ(chown(home_.path().c_str(), kUser, kUser), 0);
  }

  static int asUser(const std::function<int()>& work) {
    return ChildWork([&] { return setuid(kUser) == 0 ? work() : 100; }).wait();
  }

  /// Expects everything in the home to be the account's, and returns how much it is.
  std::size_t entriesOfTheAccount() const {
    std::size_t entries = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.path())) {
      struct stat facts = {};
      EXPECT_EQ(lstat(entry.path().c_str(), &facts), 0);
      EXPECT_EQ(facts.st_uid, kUser) << entry.path();
      EXPECT_EQ(facts.st_gid, kUser) << entry.path();
      ++entries;
    }
    return entries;
  }

  TemporaryFolder home_;
};

}  // namespace kelvora::testing
