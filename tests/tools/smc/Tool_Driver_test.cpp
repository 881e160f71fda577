// The privileged tool on a Mac whose kernel has the driver.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/MountedDriver.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/smc/ToolRun.h"

namespace kelvora::testing {
namespace {

constexpr const char* kDriverParent = "/sys/devices/platform";

// Root's, with a driver for this process and its children only.
class SMCToolWithDriver : public ::testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0 || !haveOwnMounts()) {
      GTEST_SKIP() << "mounts of its own need root";
    }
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    mountMemory(folder.path().c_str());
    mountMemory(kDriverParent);
  }
  ~SMCToolWithDriver() override {
    driver.reset();
    umount2(kDriverParent, MNT_DETACH);
    umount2(folder.path().c_str(), MNT_DETACH);
  }

  static void mountMemory(const char* path) {
    ASSERT_EQ(mount("none", path, "tmpfs", 0, nullptr), 0) << path;
  }
  void mountDriver(const char* machine) {
    mkdir(kDriverFolder, 0755);
    driver = std::make_unique<MountedDriver>(machine, kDriverFolder);
    if (!driver->isMounted()) {
      GTEST_SKIP() << "no file system of a program can be mounted here: " << driver->failure();
    }
  }
  // A copy with the rights of root and of a group, as it is installed.
  std::string installed() {
    const std::string copy = folder.path("Kelvora SMC");
    std::filesystem::copy_file(KELVORA_SMC_TOOL, copy);
    EXPECT_EQ(chown(copy.c_str(), 0, 80), 0);
    EXPECT_EQ(chmod(copy.c_str(), 06555), 0);
    return copy;
  }
  std::vector<nlohmann::json> events() const {
    std::vector<nlohmann::json> result;
    std::istringstream lines(driver->events());
    for (std::string line; std::getline(lines, line);) {
      result.push_back(nlohmann::json::parse(line));
    }
    return result;
  }
  static std::string content(const char* file) {
    std::ifstream stream(std::string(kDriverFolder) + "/" + file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  }

  TemporaryFolder folder;
  std::unique_ptr<MountedDriver> driver;
};

using Words = std::vector<std::string>;

TEST_F(SMCToolWithDriver, EachCauseHasItsStatusAndOneLine) {
  mountDriver("MacBookPro15,1");
  if (IsSkipped()) {
    return;
  }
  struct Row {
    const char* key;
    const char* value;
    int status;
    const char* line;
  };
  const Row rows[] = {
      {"F0Md", "01", 0, ""},
      {"F0Tg", "0000fa45", 71, "F0Tg: 8000 is not within the fan's limits, 2160 to 5927"},
      {"F0Tg", "0000c07f", 70, "F0Tg: not a finite number"},
      {"F0Tg", "1f40", 67, "F0Tg: the key holds 4 bytes, not 2"},
      {"F0Md", "02", 69, "F0Md: a mode is 00 or 01"},
      {"F5Md", "00", 76, "F5Md: the SMC has no such key (result 132)"},
      {"FJMd", "00", 76, "FJMd: the SMC has no such key (result 132)"},
      {"F0Tg", "00803b45", 0, ""},  // 3000
      {"F1Mn", "2ee0", 80, "F1Mn: the fan has a mode, so its minimum stays as it is"},
  };
  for (const Row& row : rows) {
    const auto result = run({writing(row.key, row.value)});
    const std::string line = row.line;
    EXPECT_EQ(result.status, row.status) << row.key << " " << row.value;
    EXPECT_EQ(result.standardError, line.empty() ? "" : "Kelvora SMC: " + line + "\n");
    EXPECT_EQ(result.standardOutput, "");
  }
  EXPECT_EQ(content("fan1_manual"), "1\n");
  EXPECT_EQ(content("fan1_input"), "3000\n");
  EXPECT_EQ(content("fan2_min"), "2000\n");
  driver->refuse("fan1_manual", "EIO");
  const auto refused = run({writing("F0Md", "00")});
  EXPECT_EQ(refused.status, 78);
  EXPECT_EQ(refused.standardError,
            "Kelvora SMC: F0Md: the SMC did not take the value (status e00002ca)\n");
  EXPECT_EQ(content("fan1_manual"), "1\n");
}

// The driver has "fan1_manual" on these Macs too.
TEST_F(SMCToolWithDriver, AFanWithoutAModeInTheListOfTheSMCIsSetByItsMinimumOnly) {
  mountDriver("MacBookPro10,1");
  if (IsSkipped()) {
    return;
  }
  const std::string copy = installed();
  const auto runAsNobody = [&](const char* key, const char* value) {
    return run({writing(key, value), {}, becomeNobody, copy});
  };
  const auto raised = runAsNobody("F0Mn", "2ee0");
  EXPECT_EQ(raised.status, 0) << raised.standardError;
  EXPECT_EQ(content("fan1_min"), "3000\n");
  EXPECT_EQ(runAsNobody("F0Mn", "0000").status, 0);
  EXPECT_EQ(content("fan1_min"), "0\n");
  const auto taken = runAsNobody("F0Md", "01");
  EXPECT_EQ(taken.status, 76);
  EXPECT_EQ(taken.standardError, "Kelvora SMC: F0Md: the SMC has no such key (result 132)\n");
  EXPECT_EQ(content("fan1_manual"), "0\n");
  std::ofstream(std::string(kDriverFolder) + "/fan1_manual") << "1\n";
  EXPECT_EQ(runAsNobody("F0Md", "00").status, 0);
  EXPECT_EQ(content("fan1_manual"), "0\n");
}

TEST_F(SMCToolWithDriver, WithoutTheListOfTheSMCAFanIsOnlyHandedBack) {
  mountDriver("MacBookPro15,1");
  if (IsSkipped()) {
    return;
  }
  driver->refuse("key_at_index", "EIO");
  const auto minimum = run({writing("F0Mn", "2ee0")});
  EXPECT_EQ(minimum.status, 77);
  EXPECT_EQ(minimum.standardError,
            "Kelvora SMC: F0Mn: the mode F0Md cannot be read (status e00002bc)\n");
  EXPECT_EQ(run({writing("F0Md", "01")}).status, 78);
  EXPECT_EQ(content("fan1_manual"), "0\n");
  std::ofstream(std::string(kDriverFolder) + "/fan1_manual") << "1\n";
  EXPECT_EQ(run({writing("F0Md", "00")}).status, 0);
  EXPECT_EQ(content("fan1_manual"), "0\n");
}

TEST_F(SMCToolWithDriver, AUserWithoutRightsIsRefusedWhenItOpens) {
  mountDriver("MacBookPro15,1");
  if (IsSkipped()) {
    return;
  }
  const auto result = run({writing("F0Md", "01"), {}, becomeNobody});
  EXPECT_EQ(result.status, 74);
  EXPECT_EQ(result.standardError,
            "Kelvora SMC: F0Md: the SMC cannot be opened: IOServiceOpen (status e00002e2)\n");
  EXPECT_EQ(content("fan1_manual"), "0\n");
}

// All that a hostile user can hand to a program that he starts.
void handOverAHostileState() {
  umask(0);
  if (chdir("/tmp") != 0) {
    std::_Exit(126);
  }
  for (int i = 0; i < 300; ++i) {
    dup(STDERR_FILENO);
  }
  // The ceilings stay: not every root may raise them.
  const std::pair<__rlimit_resource, rlim_t> limits[] = {
      {RLIMIT_FSIZE, 0}, {RLIMIT_CORE, 1 << 20}, {RLIMIT_NOFILE, 20}, {RLIMIT_CPU, 1}};
  for (const auto& [resource, amount] : limits) {
    rlimit limit{};
    getrlimit(resource, &limit);
    limit.rlim_cur = amount;
    setrlimit(resource, &limit);
  }
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
  for (const int number : {SIGCHLD, SIGUSR1, SIGSEGV, SIGXFSZ, SIGXCPU}) {
    std::signal(number, SIG_IGN);
  }
  raise(SIGTERM);
  raise(SIGUSR2);
  const itimerval soon{{0, 1}, {0, 1}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  becomeNobody();
}

TEST_F(SMCToolWithDriver, AnInstalledCopyWritesForAnyUserWithNothingOfHisStateAndNoRights) {
  mountDriver("MacBookPro15,1");
  if (IsSkipped()) {
    return;
  }
  const std::string copy = installed();
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const std::vector<std::string> environment = {"LD_PRELOAD=libutil.so.1",
                                                "LD_LIBRARY_PATH=/tmp",
                                                "KELVORA_MACHINE=/tmp/mac.json",
                                                "HOME=/tmp",
                                                "XDG_DATA_HOME=/tmp",
                                                "LC_ALL=de_DE.UTF-8",
                                                "TMPDIR=/tmp",
                                                "IFS=x"};
  const auto result = run({writing("F0Tg", "00803b45"), environment,
                           [&] {
                             dup2(ends[1], STDIN_FILENO);
                             handOverAHostileState();
                           },
                           copy});
  EXPECT_EQ(result.status, 0) << result.standardError;
  const auto events = this->events();
  ASSERT_EQ(events.size(), 2U);
  const std::string nobody = std::to_string(kNobody);
  EXPECT_EQ(events[0]["event"], "open");
  EXPECT_EQ(events[0]["Uid"], (Words{nobody, "0", "0", "0"}));
  const nlohmann::json& write = events[1];
  EXPECT_EQ(write["event"], "write");
  EXPECT_EQ(write["file"], "fan1_output");
  EXPECT_EQ(write["text"], "3000\n");
  EXPECT_EQ(write["Uid"], (Words{nobody, nobody, nobody, nobody}));
  EXPECT_EQ(write["Gid"], (Words{nobody, nobody, nobody, nobody}));
  EXPECT_EQ(write["Groups"], Words{nobody});
  EXPECT_EQ(write["CapEff"], Words{"0000000000000000"});
  EXPECT_EQ(write["CapPrm"], Words{"0000000000000000"});
  EXPECT_EQ(write["SigBlk"], Words{"0000000000000000"});
  EXPECT_EQ(write["SigCgt"], Words{"0000000000000000"});
  std::uint64_t ignored = 0;
  for (const int number : {SIGINT, SIGQUIT, SIGHUP, SIGTSTP, SIGTTIN, SIGTTOU, SIGPIPE, SIGXFSZ}) {
    ignored |= std::uint64_t{1} << (number - 1);
  }
  EXPECT_EQ(std::stoull(write["SigIgn"][0].get<std::string>(), nullptr, 16), ignored);
  EXPECT_EQ(write["Umask"], Words{"0077"});
  EXPECT_EQ(write["folder"], "/");
  EXPECT_EQ(write["limits"]["Max core file size"], (Words{"0", "0"}));
  EXPECT_EQ(write["limits"]["Max file size"], (Words{"unlimited", "unlimited"}));
  EXPECT_EQ(write["limits"]["Max cpu time"], (Words{"unlimited", "unlimited"}));
  EXPECT_EQ(write["limits"]["Max open files"], (Words{"256", "256"}));
  std::set<std::string> foreign;
  for (const auto& [number, target] : write["descriptors"].items()) {
    if (!target.get<std::string>().starts_with(kDriverFolder)) {
      foreign.insert(number);
    }
  }
  EXPECT_EQ(foreign, (std::set<std::string>{"0", "1", "2"}));
  EXPECT_TRUE(write["descriptors"]["0"].get<std::string>().starts_with("socket:"));
  for (const auto& library : write["libraries"]) {
    EXPECT_EQ(library.get<std::string>().find("libutil"), std::string::npos);
    EXPECT_EQ(library.get<std::string>().find("Kelvora"), std::string::npos);
  }
  close(ends[1]);
  char byte = 0;
  EXPECT_EQ(recv(ends[0], &byte, 1, 0), 0);  // the socket ended with the tool
  close(ends[0]);
}

TEST_F(SMCToolWithDriver, ClosedStandardDescriptorsAreDevNull) {
  mountDriver("MacBookPro15,1");
  if (IsSkipped()) {
    return;
  }
  EXPECT_EQ(run({writing("F0Md", "01"),
                 {},
                 [] {
                   close(STDIN_FILENO);
                   close(STDOUT_FILENO);
                   close(STDERR_FILENO);
                 }})
                .status,
            0);
  const nlohmann::json descriptors = events().back()["descriptors"];
  for (const char* number : {"0", "1", "2"}) {
    EXPECT_EQ(descriptors[number], "/dev/null");
  }
  EXPECT_EQ(content("fan1_manual"), "1\n");
}

TEST_F(SMCToolWithDriver, AnUnreadMessageEndsNothing) {
  const auto result = run({writing("F0Md", "01"), {}, [] {
                             int ends[2];
                             if (pipe(ends) == 0) {
                               close(ends[0]);
                               dup2(ends[1], STDERR_FILENO);
                             }
                           }});
  EXPECT_EQ(result.status, 73);
}

TEST_F(SMCToolWithDriver, WithRaisedRightsTheChoiceOfTheAccountIsNotUsed) {
  const std::string data = folder.path("data");
  std::filesystem::create_directory(data);
  ASSERT_EQ(chown(data.c_str(), kNobody, kNobody), 0);
  ChildWork chooser([&] {
    becomeNobody();
    setenv("XDG_DATA_HOME", data.c_str(), 1);
    Platform::choose(KELVORA_MACHINES "/MacBookPro15,1.json");
    return 0;
  });
  ASSERT_EQ(chooser.wait(), 0);
  const std::vector<std::string> environment = {"XDG_DATA_HOME=" + data};
  EXPECT_EQ(run({writing("F0Md", "01"), environment, becomeNobody}).status, 0);
  const auto raised = run({writing("F0Md", "00"), environment, becomeNobody, installed()});
  EXPECT_EQ(raised.status, 73);
  EXPECT_EQ(raised.standardError, "Kelvora SMC: F0Md: there is no SMC\n");
}

}  // namespace
}  // namespace kelvora::testing
