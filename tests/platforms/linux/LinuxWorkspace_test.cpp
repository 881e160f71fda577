#include "platforms/linux/processes/LinuxWorkspace.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::platform {
namespace {

namespace fs = std::filesystem;
using testing::ChildWork;

// Applications are everybody's: each test has one of its own.
const std::string kIdentifier = "com.kelvora.test." + std::to_string(getpid());

class Workspaces : public ::testing::Test {
 protected:
  ~Workspaces() override {
    for (const RunningApplication& application : instances()) {
      workspace_.terminate(application, true);
    }
  }

  // An application whose executable a test puts at the path that this returns.
  std::string declare(const std::string& name) const {
    folder_.write("apps/" + name + ".app/Info.plist",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                  "<key>CFBundleIdentifier</key><string>" +
                      kIdentifier +
                      "</string><key>CFBundleExecutable</key><string>program</string></dict>"
                      "</plist>");
    return folder_.path("apps/" + name + ".app/program");
  }
  std::string install() const {
    const std::string program = declare("Companion");
    fs::copy_file(KELVORA_TEST_COMPANION, program);
    return program;
  }
  std::string installScript(const std::string& text) const {
    const std::string program = declare("Script");
    folder_.write("apps/Script.app/program", text);
    fs::permissions(program, fs::perms::owner_all);
    return program;
  }

  bool launch() { return workspace_.launchApplication(kIdentifier); }
  std::vector<RunningApplication> instances() {
    auto applications = workspace_.runningApplications();
    std::erase_if(applications,
                  [](const auto& each) { return each.bundleIdentifier != kIdentifier; });
    return applications;
  }
  void endAll() {
    while (!instances().empty()) {
      for (const RunningApplication& application : instances()) {
        workspace_.terminate(application, true);
      }
    }
  }

  testing::TemporaryFolder folder_;
  LinuxWorkspace workspace_{{folder_.path("apps")}};
};

TEST_F(Workspaces, AnApplicationHasStartedWhenTheCallReturns) {
  install();
  for (int round = 0; round < 20; ++round) {
    EXPECT_TRUE(launch());
    EXPECT_EQ(instances().size(), 1U);
    endAll();
  }
}

TEST_F(Workspaces, AnApplicationIsFoundByItsProcess) {
  install();
  EXPECT_TRUE(launch());
  const RunningApplication listed = instances().at(0);
  const auto found = workspace_.runningApplication(listed.pid);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->pid, listed.pid);
  EXPECT_EQ(found->bundleIdentifier, kIdentifier);
  EXPECT_EQ(found->localizedName, listed.localizedName);
  EXPECT_FALSE(workspace_.runningApplication(getpid()));
  EXPECT_FALSE(workspace_.runningApplication(0));
  endAll();
  EXPECT_FALSE(workspace_.runningApplication(listed.pid));
}

TEST_F(Workspaces, AnApplicationOutlivesACallerThatEndsAtOnce) {
  install();
  for (int round = 0; round < 20; ++round) {
    ChildWork caller([&] {
      LinuxWorkspace workspace({folder_.path("apps")});
      return workspace.launchApplication(kIdentifier) ? 0 : 1;
    });
    EXPECT_EQ(caller.wait(), 0);
    EXPECT_EQ(instances().size(), 1U);
    endAll();
  }
}

TEST_F(Workspaces, AnApplicationThatRunsIsNotStartedAgain) {
  install();
  EXPECT_TRUE(launch());
  const auto before = instances();
  EXPECT_TRUE(launch());
  EXPECT_TRUE(launch());
  const auto after = instances();
  ASSERT_EQ(after.size(), 1U);
  EXPECT_EQ(after[0].pid, before[0].pid);
}

TEST_F(Workspaces, ProgramsThatLaunchItAtTheSameTimeStartOneInstance) {
  install();
  for (int round = 0; round < 5; ++round) {
    std::vector<ChildWork> callers;
    for (int i = 0; i < 4; ++i) {
      callers.emplace_back([&] {
        LinuxWorkspace workspace({folder_.path("apps")});
        return workspace.launchApplication(kIdentifier) ? 0 : 1;
      });
    }
    for (ChildWork& caller : callers) {
      EXPECT_EQ(caller.wait(), 0);
    }
    EXPECT_EQ(instances().size(), 1U);
    endAll();
  }
}

TEST_F(Workspaces, AnApplicationWhoseFolderAnotherProgramKeepsLockedIsNotOpened) {
  install();
  const std::string path = folder_.path("apps/Companion.app");
  LinuxWorkspace impatient({folder_.path("apps")}, std::chrono::milliseconds(20));
  {
    const FileDescriptor other(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(other.get(), LOCK_EX), 0);
    EXPECT_FALSE(impatient.launchApplication(kIdentifier));
    std::promise<std::optional<std::string>> failure;
    impatient.openApplication(
        path, [&](std::optional<std::string> reason) { failure.set_value(std::move(reason)); });
    EXPECT_EQ(failure.get_future().get(), "another program keeps " + path + " locked");
    EXPECT_TRUE(instances().empty());
  }
  EXPECT_TRUE(impatient.launchApplication(kIdentifier));
}

TEST_F(Workspaces, AnApplicationThatCannotBeStartedOrIsUnknownIsNotLaunched) {
  declare("Broken");
  EXPECT_FALSE(launch());
  EXPECT_FALSE(workspace_.launchApplication("com.kelvora.unknown"));
}

TEST_F(Workspaces, AnApplicationWhoseExecutableIsAScriptRuns) {
  // Each stops itself: a child that a shell forks is like the shell until it starts its program.
  for (const char* script : {"#!/bin/sh\nkill -STOP $$\n", "#!/bin/sh -e\nkill -STOP $$\n",
                             "#!/usr/bin/env sh\nkill -STOP $$\n"}) {
    installScript(script);
    EXPECT_TRUE(launch());
    EXPECT_TRUE(launch());
    EXPECT_EQ(instances().size(), 1U) << script;
    endAll();
  }
}

TEST_F(Workspaces, AProgramThatOnlyReadsAScriptIsNotItsApplication) {
  const std::string script = installScript("#!/bin/sh\nsleep 300; true\n");
  testing::ChildProgram reader("/usr/bin/tail", {"-f", script});
  EXPECT_EQ(reader.nextLine(), "#!/bin/sh");
  EXPECT_TRUE(instances().empty());
  reader.signal(SIGKILL);
}

TEST_F(Workspaces, AnApplicationWhoseExecutableIsALinkOutOfItsBundleRuns) {
  fs::create_directories(folder_.path("elsewhere"));
  fs::copy_file(KELVORA_TEST_COMPANION, folder_.path("elsewhere/companion"));
  const std::string program = declare("Linked");
  fs::create_symlink(folder_.path("elsewhere/companion"), program);
  EXPECT_TRUE(launch());
  EXPECT_TRUE(launch());
  EXPECT_EQ(instances().size(), 1U);
}

TEST_F(Workspaces, TheTargetOfALinkIsNotTheApplicationByItself) {
  fs::create_directories(folder_.path("elsewhere"));
  const std::string target = folder_.path("elsewhere/companion");
  fs::copy_file(KELVORA_TEST_COMPANION, target);
  fs::create_symlink(target, declare("Linked"));
  testing::ChildProgram companion(target, {});
  EXPECT_TRUE(instances().empty());
  companion.signal(SIGKILL);
}

TEST_F(Workspaces, ProcessesOfOtherUsersDoNotCount) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "starting a process of another user needs an administrator";
  }
  const std::string program = install();
  for (const std::string& each : {folder_.path(), folder_.path("apps")}) {
    chmod(each.c_str(), 0755);
  }
  chmod(folder_.path("apps/Companion.app").c_str(), 0777);  // it reports beside itself
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  ChildWork other([&] {
    if (setgid(65534) != 0 || setuid(65534) != 0) {
      return 1;
    }
    execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
    return 127;
  });
  close(ends[1]);
  char byte = 0;
  ASSERT_EQ(read(ends[0], &byte, 1), 0);  // closed by the start of the program
  close(ends[0]);
  ASSERT_EQ(fs::read_symlink("/proc/" + std::to_string(other.pid()) + "/exe"), program);
  EXPECT_TRUE(instances().empty());
}

TEST_F(Workspaces, ALaunchedApplicationBlocksAndIgnoresNoSignal) {
  const std::string program = install();
  ChildWork caller([&] {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    for (const int number : {SIGHUP, SIGINT, SIGPIPE, SIGTERM, SIGCHLD}) {
      std::signal(number, SIG_IGN);
    }
    LinuxWorkspace workspace({folder_.path("apps")});
    return workspace.launchApplication(kIdentifier) ? 0 : 1;
  });
  EXPECT_EQ(caller.wait(), 0);
  while (!fs::exists(folder_.path("apps/Companion.app/report"))) {
    std::this_thread::yield();
  }
  const std::string report = folder_.read("apps/Companion.app/report");
  EXPECT_NE(report.find("SigBlk:\t0000000000000000\n"), std::string::npos) << report;
  EXPECT_NE(report.find("SigIgn:\t0000000000000000\n"), std::string::npos) << report;
}

}  // namespace
}  // namespace kelvora::platform
