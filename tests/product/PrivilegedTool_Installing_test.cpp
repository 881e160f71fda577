// Really installs the privileged tool, as root and with a group "admin" that only this process
// sees.
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"
#include "tests/support/ForwardingMainBundle.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora {
namespace {

// Mounts a list of groups over the system's, for this process and its children.
bool haveOwnGroups(const std::string& list) {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount(list.c_str(), "/etc/group", nullptr, MS_BIND, nullptr) == 0;
}

class InstallingThePrivilegedTool : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can give a tool the rights of root";
    }
    if (!haveOwnGroups(folder.write("group", "root:x:0:\nadmin:x:64999:\nwheel:x:64998:\n"))) {
      GTEST_SKIP() << "this system allows no mounts of a process's own";
    }
    std::filesystem::create_directories(folder.path("bin"));
    std::filesystem::copy_file(KELVORA_SMC_TOOL, folder.path("bin/Kelvora SMC"));
    setenv("XDG_DATA_HOME", folder.path("data").c_str(), 1);
    platform = Platform::live();
    testing::wrapPort<testing::ForwardingMainBundle>(platform->ports().mainBundle)
        .onExecutablePath = [this] { return folder.path("bin/host"); };
  }

  bool request() {
    std::optional<bool> result;
    KVUtils::requestSMCPermission(
        [&](bool granted, const std::optional<std::string>&) { result = granted; }, *platform);
    EXPECT_TRUE(testing::runUntil(platform->mainQueue(), [&] { return result.has_value(); }));
    return result.value_or(false);
  }
  bool isGranted() { return KVUtils::isSMCPermissionGranted(*platform); }
  // Only this function waits for chmod.
  bool becomesGranted() {
    return testing::runUntil(platform->mainQueue(), [this] { return isGranted(); });
  }
  std::string tool() const { return folder.path("data/Kelvora/Kelvora SMC"); }

  testing::TemporaryFolder folder;
  std::unique_ptr<Platform> platform;
};

TEST_F(InstallingThePrivilegedTool, GivesACopyToRootAndAdminWithMode6555) {
  EXPECT_FALSE(isGranted());
  EXPECT_TRUE(request());
  EXPECT_TRUE(becomesGranted());
  struct stat facts = {};
  ASSERT_EQ(lstat(tool().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_uid, 0U);
  EXPECT_EQ(facts.st_gid, 64999U);
  EXPECT_EQ(facts.st_mode, S_IFREG | 06555U);
  EXPECT_TRUE(std::filesystem::exists(folder.path("bin/Kelvora SMC")));
  EXPECT_TRUE(request()) << "again";
}

TEST_F(InstallingThePrivilegedTool, AnythingWrongAboutTheInstalledToolIsNotGranted) {
  ASSERT_TRUE(request());
  ASSERT_TRUE(becomesGranted());
  // A change of the owner takes the set-user-id bit away.
  const auto restored = [this] {
    EXPECT_EQ(chown(tool().c_str(), 0, 64999), 0);
    EXPECT_EQ(chmod(tool().c_str(), 06555), 0);
    return isGranted();
  };
  for (const mode_t mode : {04555, 02555, 0555, 06755, 06557, 07555}) {
    ASSERT_EQ(chmod(tool().c_str(), mode), 0);
    EXPECT_FALSE(isGranted()) << std::oct << mode;
  }
  EXPECT_TRUE(restored());
  for (const auto& [owner, group] : {std::pair<uid_t, gid_t>{65534, 64999}, {0, 64998}, {0, 0}}) {
    ASSERT_EQ(chown(tool().c_str(), owner, group), 0);
    ASSERT_EQ(chmod(tool().c_str(), 06555), 0);
    EXPECT_FALSE(isGranted()) << owner << ":" << group;
  }
  EXPECT_TRUE(restored());
  const std::string elsewhere = folder.path("elsewhere");
  std::filesystem::rename(tool(), elsewhere);
  EXPECT_FALSE(isGranted());
  std::filesystem::create_symlink(elsewhere, tool());
  ASSERT_EQ(lchown(tool().c_str(), 0, 64999), 0);
  EXPECT_FALSE(isGranted()) << "a link to a tool that has the rights";
  EXPECT_FALSE(request());
  EXPECT_TRUE(std::filesystem::is_symlink(tool()));
}

TEST_F(InstallingThePrivilegedTool, AFolderInItsPlaceIsNotGrantedAndGetsNoRights) {
  std::filesystem::create_directories(tool());
  EXPECT_FALSE(request());
  ASSERT_EQ(chown(tool().c_str(), 0, 64999), 0);
  ASSERT_EQ(chmod(tool().c_str(), 06555), 0);
  EXPECT_FALSE(isGranted());
  EXPECT_FALSE(request());
}

TEST_F(InstallingThePrivilegedTool, AHardLinkInItsPlaceGetsNoRights) {
  std::filesystem::create_directories(folder.path("data/Kelvora"));
  const std::string other = folder.write("other", "#!/bin/sh\n");
  ASSERT_EQ(chmod(other.c_str(), 0700), 0);
  std::filesystem::create_hard_link(other, tool());
  EXPECT_FALSE(request());
  struct stat facts = {};
  ASSERT_EQ(stat(other.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode, S_IFREG | 0700U);
  EXPECT_NE(facts.st_gid, 64999U);
}

TEST_F(InstallingThePrivilegedTool, WithoutAToolToCopyNothingIsGranted) {
  std::filesystem::remove(folder.path("bin/Kelvora SMC"));
  EXPECT_FALSE(request()) << "chown finds nothing, so chmod is not started";
  EXPECT_FALSE(isGranted());
  EXPECT_FALSE(std::filesystem::exists(tool()));
}

}  // namespace
}  // namespace kelvora
