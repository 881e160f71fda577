// The privileged tool as it is built, run as other programs run it.
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/AnsweredCalls.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/smc/ToolRun.h"

namespace kelvora::testing {
namespace {

TEST(SMCTool, WrongUsageIsAStatusAndOneLine) {
  const std::vector<std::string> rows[] = {
      {}, {"-k", "F0Md"}, {"--help"}, {"-w", "00", "-k", "F0Md"}};
  for (const auto& arguments : rows) {
    const auto result = run({arguments});
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.standardError, "Kelvora SMC: usage: -k KEY -w HEX\n");
    EXPECT_EQ(result.standardOutput, "");
  }
  EXPECT_EQ(run({writing("TC0P", "00")}).status, 65);
  EXPECT_EQ(run({writing("F0Md", "0")}).status, 66);
}

TEST(SMCTool, AProcessWithoutArgumentsAtAllIsWrongUsage) {
  const TemporaryFolder outputs;
  ChildWork child([&] {
    char* none[] = {nullptr};
    dup2(open("/dev/null", O_RDWR), STDERR_FILENO);
    execve(KELVORA_SMC_TOOL, none, none);
    return 127;
  });
  EXPECT_EQ(child.wait(), 64);
}

TEST(SMCTool, AProcessThatCannotHaveItsDescriptorsInOrderWritesNothing) {
  const auto result =
      run({writing("F0Md", "00"), {}, [] { answerCalls(SYS_close_range, ENOSYS); }});
  EXPECT_EQ(result.status, 72);
  EXPECT_EQ(result.standardError,
            "Kelvora SMC: the process cannot be brought into a known state\n");
}

// The Mac that the account has chosen.
class SMCToolOfAccount : public ::testing::Test {
 protected:
  SMCToolOfAccount() {
    setenv("XDG_DATA_HOME", data.path().c_str(), 1);
    std::filesystem::permissions(data.path(), std::filesystem::perms(0755));
  }
  void SetUp() override {
    if (std::filesystem::exists(kDriverFolder)) {
      GTEST_SKIP() << "this Mac has an SMC of its own";
    }
    Platform::choose(KELVORA_MACHINES "/MacBookPro15,1.json");
  }
  std::vector<std::string> environment() const { return {"XDG_DATA_HOME=" + data.path()}; }

  TemporaryFolder data;
};

TEST_F(SMCToolOfAccount, IsWrittenAndReadBackByOtherPrograms) {
  const auto result = run({writing("F0Md", "01"), environment()});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardError + result.standardOutput, "");
  ASSERT_EQ(Platform::choice()->writes.size(), 1U);
  EXPECT_EQ(Platform::choice()->writes[0].key, "F0Md");
  EXPECT_EQ(Platform::choice()->writes[0].bytes, "01");
}

TEST_F(SMCToolOfAccount, IsFoundInTheHomeFolderToo) {
  const TemporaryFolder home;
  std::filesystem::create_directories(home.path(".local"));
  std::filesystem::create_directory_symlink(data.path(), home.path(".local/share"));
  EXPECT_EQ(run({writing("F0Md", "01"), {"HOME=" + home.path()}}).status, 0);
  EXPECT_EQ(Platform::choice()->writes.size(), 1U);
}

TEST_F(SMCToolOfAccount, ADamagedChoiceIsAStatusAndOneLine) {
  std::ofstream(*Platform::choiceFile()) << "{";
  const auto result = run({writing("F0Md", "01"), environment()});
  EXPECT_EQ(result.status, 74);
  EXPECT_TRUE(result.standardError.starts_with("Kelvora SMC: F0Md: " + *Platform::choiceFile()))
      << result.standardError;
  EXPECT_EQ(std::ranges::count(result.standardError, '\n'), 1);
}

TEST_F(SMCToolOfAccount, AWriteThatCannotBeStoredIsAStatusAndOneLineWithTheReason) {
  const std::string file = *Platform::choiceFile();
  std::filesystem::create_directories(file + ".new/x");
  const auto result = run({writing("F0Md", "01"), environment()});
  EXPECT_EQ(result.status, 78);
  EXPECT_TRUE(result.standardError.starts_with(
      "Kelvora SMC: F0Md: the SMC did not take the value (status e00002bc): " + file +
      ": cannot be written: "))
      << result.standardError;
  EXPECT_EQ(std::ranges::count(result.standardError, '\n'), 1);
}

TEST_F(SMCToolOfAccount, TheEnvironmentChoosesNoOtherMachine) {
  auto variables = environment();
  variables.push_back("KELVORA_MACHINE=/no/such/machine.json");
  EXPECT_EQ(run({writing("F0Md", "01"), variables}).status, 0);
}

// Root without the right to change its groups, as a container may have it.
TEST_F(SMCToolOfAccount, AToolThatCannotDropItsRightsWritesNothing) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "needs root";
  }
  const auto result =
      run({writing("F0Md", "01"), environment(), [] { prctl(PR_CAPBSET_DROP, CAP_SETGID); }});
  EXPECT_EQ(result.status, 75);
  EXPECT_EQ(result.standardError, "Kelvora SMC: F0Md: the rights cannot be dropped\n");
  EXPECT_TRUE(Platform::choice()->writes.empty());
}

TEST_F(SMCToolOfAccount, TooLittleMemoryIsAStatusAndOneLine) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer needs more address space than any limit";
#endif
  constexpr rlim_t kMegabyte = 1 << 20;
  std::filesystem::resize_file(*Platform::choiceFile(), 100 * kMegabyte);
  const auto result = run({writing("F0Md", "01"), environment(), [] {
                             const rlimit limit{64 * kMegabyte, 64 * kMegabyte};
                             setrlimit(RLIMIT_AS, &limit);
                           }});
  EXPECT_EQ(result.status, 79);
  EXPECT_EQ(result.standardError, "Kelvora SMC: out of memory\n");
}

}  // namespace
}  // namespace kelvora::testing
