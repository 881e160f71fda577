// Installing the privileged tool by the command.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/ChildWork.h"
#include "tests/support/HomeFolder.h"
#include "tests/support/MountedDriver.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::EndsWith;

class KelvoraFansPermit : public ::testing::Test {
 protected:
  std::string tool() const { return home_.path("data/Kelvora/Kelvora SMC"); }

  HomeFolder home_;
};

TEST_F(KelvoraFansPermit, OnARecordedMacTheToolIsInstalledWithoutRights) {
  const ProgramResult result = runKelvora({"fans", "permit", "--machine", "iMac19,1"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardOutput, tool() + ": a recorded Mac needs no rights\n");
  struct stat facts = {};
  ASSERT_EQ(lstat(tool().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 06111U, 0111U) << "it can be run, and raises no rights";
  json report =
      json::parse(runKelvora({"fans", "permit", "--machine", "iMac19,1", "--json"}).standardOutput);
  EXPECT_EQ(report["machine"]["live"], false);
  report.erase("machine");
  EXPECT_EQ(report, json({{"tool", tool()}, {"needed", false}, {"granted", false}}));
}

TEST_F(KelvoraFansPermit, AToolThatCannotBeCopiedIsNamed) {
  home_.write("data/Kelvora", "a file in place of the folder");
  const ProgramResult result = runKelvora({"fans", "permit", "--machine", "iMac19,1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardError,
            "kelvora: " + tool() + ": could not be copied from " +
                (std::filesystem::path(KELVORA_PROGRAM).parent_path() / "Kelvora SMC").string() +
                "\n");
}

TEST_F(KelvoraFansPermit, AFolderInPlaceOfTheToolIsReported) {
  home_.write("data/Kelvora/Kelvora SMC/x", "");
  expectRefused(runKelvora({"fans", "permit", "--machine", "iMac19,1"}),
                tool() + ": is a folder or a link, not a regular file; remove it first", 1);
}

// The default recording is shown where nothing else can be; its fans need not be written.
TEST_F(KelvoraFansPermit, WithoutAMachineNothingIsInstalled) {
  if (Platform::live()->hasSensorHardware()) {
    GTEST_SKIP() << "this computer is a Mac";
  }
  expectRefused(runKelvora({"fans", "permit"}),
                "no Apple hardware here; choose a recorded Mac first: kelvora machine use "
                "MacBookPro15,1");
  EXPECT_FALSE(std::filesystem::exists(tool()));
}

// Root's, with a driver of one fan and with groups that only this process and its children see.
class KelvoraFansPermitOnAMac : public KelvoraFansPermit {
 protected:
  void SetUp() override {
    if (geteuid() != 0 || !haveOwnMounts()) {
      GTEST_SKIP() << "mounts of its own need root";
    }
    useGroups("root:x:0:\nadmin:x:64999:\n");
    ASSERT_EQ(mount("none", kDevices.c_str(), "tmpfs", 0, nullptr), 0);
    const std::string driver = kDevices + "/applesmc.768";
    ASSERT_EQ(mkdir(driver.c_str(), 0755), 0);
    for (const auto& [file, content] : {std::pair("key_count", "1\n"),
                                        {"key_at_index", "0\n"},
                                        {"key_at_index_name", "F0Mn\n"},
                                        {"fan1_input", "2000\n"},
                                        {"fan1_min", "1200\n"},
                                        {"fan1_max", "6000\n"}}) {
      std::ofstream(driver + "/" + file) << content;
    }
  }
  ~KelvoraFansPermitOnAMac() override {
    umount2(kDevices.c_str(), MNT_DETACH);
    umount2("/etc/group", MNT_DETACH);
  }
  void useGroups(const char* list) {
    ASSERT_EQ(mount(home_.write("group", list).c_str(), "/etc/group", nullptr, MS_BIND, nullptr),
              0);
  }
  struct stat facts() const {
    struct stat result = {};
    EXPECT_EQ(lstat(tool().c_str(), &result), 0);
    return result;
  }

  const std::string kDevices = "/sys/devices/platform";
};

TEST_F(KelvoraFansPermitOnAMac, TheToolGetsItsRights) {
  const ProgramResult result = runKelvora({"fans", "permit"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardOutput, tool() + ": may write the fans of this computer\n");
  EXPECT_EQ(facts().st_uid, 0U);
  EXPECT_EQ(facts().st_gid, 64999U);
  EXPECT_EQ(facts().st_mode, S_IFREG | 06555U);
  const json report = json::parse(runKelvora({"fans", "permit", "--json"}).standardOutput);
  EXPECT_EQ(report["needed"], true);
  EXPECT_EQ(report["granted"], true);
}

TEST_F(KelvoraFansPermitOnAMac, ThenAnyUserWritesTheFanWithTheTool) {
  for (const char* folder : {"", "data", "data/Kelvora"}) {
    std::filesystem::create_directories(home_.path(folder));
    std::filesystem::permissions(home_.path(folder), std::filesystem::perms(0755));
  }
  ASSERT_EQ(runKelvora({"fans", "permit"}).status, 0);
  if (struct statvfs place = {};
      statvfs(tool().c_str(), &place) != 0 || (place.f_flag & ST_NOSUID) != 0) {
    GTEST_SKIP() << tool() << " is on a file system that raises no rights";
  }
  constexpr uid_t kNobody = 65534;
  ChildWork user([this] {
    return setgid(kNobody) != 0 || setuid(kNobody) != 0
               ? 1
               : execl(tool().c_str(), "Kelvora SMC", "-k", "F0Mn", "-w", "2ee0", nullptr);
  });
  EXPECT_EQ(user.wait(), 0);
  std::ifstream minimum(kDevices + "/applesmc.768/fan1_min");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(minimum), {}), "3000\n");
}

TEST_F(KelvoraFansPermitOnAMac, ALinkInPlaceOfTheToolGetsNoRights) {
  const std::string other = home_.write("data/Kelvora/other", "");
  const std::string line = tool() + ": is a folder or a link, not a regular file; remove it first";
  std::filesystem::create_symlink(other, tool());
  expectRefused(runKelvora({"fans", "permit"}), line, 1);
  std::filesystem::remove(tool());
  std::filesystem::create_hard_link(other, tool());
  expectRefused(runKelvora({"fans", "permit"}), line, 1);
  std::filesystem::remove(tool());
  std::filesystem::create_symlink(home_.path("gone"), tool());
  expectRefused(runKelvora({"fans", "permit"}), line, 1);
}

TEST_F(KelvoraFansPermitOnAMac, WithoutTheGroupTheRightsAreRefused) {
  useGroups("root:x:0:\n");
  const ProgramResult result = runKelvora({"fans", "permit"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardError,
              EndsWith("\nkelvora: " + tool() +
                       ": the rights were refused ('kelvora doctor' says how the tool is)\n"))
      << "after the line of chown";
  EXPECT_EQ(facts().st_mode & 06000U, 0U);
}

TEST_F(KelvoraFansPermitOnAMac, AToolWithoutItsRightsIsTheHintOfAFanThatIsNotHeld) {
  home_.write("data/Kelvora/Kelvora SMC", "#!/bin/sh\nexit 74\n");
  ASSERT_EQ(chmod(tool().c_str(), 0755), 0);
  const ProgramResult result = runKelvora({"fans", "hold", "0=3000"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardError,
              EndsWith("kelvora: fan 0: F0Mn: the privileged tool ended with status 74 ('kelvora "
                       "fans permit' gives the tool its permission)\n"));
}

}  // namespace
}  // namespace kelvora::testing
